#include "MessageBoxAlerts.h"

#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

// A line of text as long as reads well.
constexpr int kTextWidth = 340;
constexpr int kIconSize = 64;

QLabel* label(const QMessageBox& box, QLatin1StringView name)
{
    return box.findChild<QLabel*>(name);
}

/// A service may explain itself at any length; an alert has to fit the screen.
QString shortened(const QString& text)
{
    constexpr qsizetype longest = 600;
    return text.size() <= longest ? text : text.left(longest) + u'…';
}

} // namespace

MessageBoxAlerts::MessageBoxAlerts() = default;

MessageBoxAlerts::~MessageBoxAlerts()
{
    dropAll();
}

bool MessageBoxAlerts::available()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance());
}

void MessageBoxAlerts::show(const Alert& alert, std::function<void(int)> done)
{
    m_waiting.push_back({alert, std::move(done)});
    if (!m_box)
        openNext();
}

void MessageBoxAlerts::openNext()
{
    if (m_waiting.empty())
        return;
    // To see a quit; only now, because the filter sees every event there is.
    qApp->installEventFilter(this);
    const Alert& alert = m_waiting.front().alert;
    m_box = std::make_unique<QMessageBox>();
    m_box->setWindowTitle(u"Quillon"_s);
    m_box->setWindowModality(Qt::ApplicationModal);
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull())
        m_box->setIconPixmap(icon.pixmap(kIconSize));
    m_box->setText(alert.title);
    m_box->setInformativeText(shortened(alert.text));
    // Texts come from the service too: nothing in them is markup.
    for (const auto& name : {"qt_msgbox_label"_L1, "qt_msgbox_informativelabel"_L1}) {
        if (QLabel* text = label(*m_box, name))
            text->setTextFormat(Qt::PlainText);
    }
    if (QLabel* title = label(*m_box, "qt_msgbox_label"_L1)) {
        QFont font = title->font();
        font.setBold(true);
        title->setFont(font);
        title->setMinimumWidth(kTextWidth);
    }

    const QStringList texts = alert.buttons.isEmpty() ? QStringList(u"OK"_s) : alert.buttons;
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const auto role = i == 0                  ? QMessageBox::AcceptRole
                          : i == texts.size() - 1 ? QMessageBox::RejectRole
                                                  : QMessageBox::ActionRole;
        QPushButton* button = m_box->addButton(QString(texts[i]).replace(u'&', "&&"_L1), role);
        m_buttons.append(button);
        if (i == 0)
            m_box->setDefaultButton(button);
    }
    // Without one, a box with several buttons of no reject role can neither be closed nor left by a quit.
    m_box->setEscapeButton(m_buttons[escapeButton()]);
    connect(m_box.get(), &QDialog::finished, this, &MessageBoxAlerts::finished);
    // Not open(): it would block the box's parent alone, and there is none.
    m_box->show();
    m_box->raise();
    m_box->activateWindow();
}

void MessageBoxAlerts::finished()
{
    // A closed box names its button too late to be seen here.
    const auto clicked = m_buttons.indexOf(m_box->clickedButton());
    const auto pressed = clicked >= 0 ? clicked : escapeButton();
    const Waiting answered = std::move(m_waiting.front());
    m_waiting.pop_front();
    // It is inside its own signal.
    m_box.release()->deleteLater();
    takenDown();
    if (answered.done)
        answered.done(static_cast<int>(pressed));
    if (!m_box)
        openNext();
}

qsizetype MessageBoxAlerts::escapeButton() const
{
    const int wanted = m_waiting.front().alert.escapeButton;
    return wanted >= 0 && wanted < m_buttons.size() ? wanted : m_buttons.size() - 1;
}

void MessageBoxAlerts::takenDown()
{
    m_buttons.clear();
    qApp->removeEventFilter(this);
}

bool MessageBoxAlerts::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qApp && event->type() == QEvent::Quit)
        dropAll();
    return false;
}

void MessageBoxAlerts::dropAll()
{
    m_waiting.clear();
    if (!m_box)
        return;
    m_box->disconnect(this);
    m_box.reset();
    takenDown();
}

} // namespace platform
