#pragma once

#include <QLineEdit>

class QToolButton;

namespace preferences {

/// A password field with a button that shows what was typed. Assistive technology only ever gets dots, whatever is on
/// the screen: every program of the session can read what it gets. Nor is a selection ever offered as the primary
/// selection, or dragged away.
class PasswordField final : public QLineEdit
{
    Q_OBJECT
public:
    explicit PasswordField(QWidget* parent = nullptr);

    bool isShown() const { return echoMode() == Normal; }
    void setShown(bool shown);
    QToolButton& showButton() const { return *m_show; }

protected:
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void setEcho(EchoMode mode);
    void updateIcon();

    QToolButton* m_show;
};

} // namespace preferences
