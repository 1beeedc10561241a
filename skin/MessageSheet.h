#pragma once

#include "skin/Sheet.h"

#include <functional>

class QPushButton;

namespace platform {
struct Alert;
}

namespace skin {

/// A message on a sheet, for what concerns its window alone: the title bold, the text below, the first button the
/// default one. Escape presses the alert's escape button.
class MessageSheet final : public Sheet
{
    Q_OBJECT
public:
    /// Opens it over the window and over the sheets that are open there. `done` gets the index of the pressed button,
    /// once, after the sheet has closed; it is not called when the window goes before. The sheet deletes itself.
    static MessageSheet& show(QWidget& window, const platform::Alert& alert, std::function<void(int button)> done = {});

private:
    MessageSheet(QWidget& window, const platform::Alert& alert, std::function<void(int)> done);

    void cancel() override;
    void hideEvent(QHideEvent* event) override;
    void press(int button);

    std::function<void(int)> m_done;
    QPushButton* m_default = nullptr;
    int m_escapeButton;
};

} // namespace skin
