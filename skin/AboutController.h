#pragma once

#include <memory>

class QDialog;
class QLabel;

namespace skin {

class LinkButton;

/// The About window: icon, name, version, the maker, and links to the terms of service and the privacy policy. Escape
/// closes it. Needs a `platform::Run`. Main thread only.
class AboutController final
{
public:
    AboutController();
    ~AboutController();

    /// Shows the window and brings it to the front.
    void show();
    QDialog& window() const { return *m_window; }

private:
    void loadWindow();
    void windowDidLoad();

    std::unique_ptr<QDialog> m_window;
    // In the window.
    LinkButton* m_tosButton = nullptr;
    LinkButton* m_ppButton = nullptr;
    QLabel* m_versionField = nullptr;
};

} // namespace skin
