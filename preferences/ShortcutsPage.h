#pragma once

#include <QObject>

#include <array>

class QLabel;

namespace Ui {
class Preferences;
}

namespace settings {
class HotKeyManager;
class QuillonPreferences;
} // namespace settings

namespace preferences {

class SRRecorderControl;

/// The page of the two shortcuts: shows them, records others, and reports the status of each below it. None is
/// registered before it is stored. Main thread only.
class ShortcutsPage final : public QObject
{
    Q_OBJECT
public:
    /// `ui` is set up, and outlives the page.
    explicit ShortcutsPage(const Ui::Preferences& ui);

    void fill(const settings::QuillonPreferences& preferences);
    void store(settings::QuillonPreferences& preferences) const;

private:
    struct Row
    {
        SRRecorderControl* recorder;
        QLabel* status;
        int action;
    };

    void showStatus();
    QString statusOf(const Row& row) const;

    settings::HotKeyManager& m_hotKeys;
    const std::array<Row, 2> m_rows;
};

} // namespace preferences
