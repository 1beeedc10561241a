#include "Program.h"

#include "platform/DirectPaint.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/Xcb.h"
#include "support/ManualTimeSource.h"
#include "support/Pointer.h"

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPainter>
#include <QScreen>
#include <QWindow>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::run;

namespace {

/// What somebody else at the X server hears of starts that are over.
class StartupListener
{
public:
    StartupListener()
    {
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_x, platform::x11::root(m_x), XCB_CW_EVENT_MASK, &mask);
        m_parts = platform::x11::atoms<2>(m_x, {"_NET_STARTUP_INFO_BEGIN", "_NET_STARTUP_INFO"});
    }
    ~StartupListener() { xcb_disconnect(m_x); }
    Q_DISABLE_COPY_MOVE(StartupListener)

    QByteArray text()
    {
        while (const platform::x11::Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_x)}) {
            const auto* part = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
            if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE || part->format != 8)
                continue;
            if (part->type == m_parts[m_text.isEmpty() ? 0 : 1])
                m_text.append(reinterpret_cast<const char*>(part->data.data8), sizeof part->data.data8);
        }
        return m_text;
    }

private:
    xcb_connection_t* m_x = xcb_connect(nullptr, nullptr);
    std::array<xcb_atom_t, 2> m_parts{};
    QByteArray m_text;
};

/// Notes which of our windows Qt takes for the active one.
class Activations final : public QObject
{
public:
    Activations() { QCoreApplication::instance()->installEventFilter(this); }
    QList<QObject*> seen;

private:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::WindowActivate && watched->isWidgetType() &&
            (seen.isEmpty() || seen.last() != watched))
            seen << watched;
        return false;
    }
};

/// Counts how often a window is opened.
class Openings final : public QObject
{
public:
    explicit Openings(QWidget& window) { window.installEventFilter(this); }
    int count = 0;

private:
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Show && !event->spontaneous();
        return false;
    }
};

/// What the window manager says of a window that is shown.
QString state(const QWidget& window)
{
    return run(u"xprop"_s, {u"-id"_s, QString::number(window.winId()), u"WM_STATE"_s, u"_NET_WM_STATE"_s});
}

bool isManaged(const QWidget& window)
{
    return state(window).contains("window state: Normal"_L1);
}

/// The active window, as the window manager says. 0: none.
WId activeWindow()
{
    const QString said = run(u"xprop"_s, {u"-root"_s, u"-notype"_s, u"32x"_s, u"_NET_ACTIVE_WINDOW"_s});
    return static_cast<WId>(said.section(u'#', -1).trimmed().toULongLong(nullptr, 0));
}

/// The windows, the lowest first.
QList<QWidget*> ourStack(QList<QWidget*> windows)
{
    const std::vector<std::uint32_t> stack = platform::x11::stack();
    std::ranges::sort(windows, {}, [&](const QWidget* window) {
        return std::ranges::find(stack, static_cast<std::uint32_t>(window->winId())) - stack.begin();
    });
    return windows;
}

} // namespace

class LinuxDesktopTest final : public QObject
{
    Q_OBJECT
private slots:
    void windowsInTheTaskBar()
    {
        for (const bool shown : {true, false}) {
            platform::LinuxDesktop desktop(m_time);
            desktop.setShownInTaskBar(shown);
            QWidget window;
            QDialog dialog;
            QWidget frameless(nullptr, Qt::FramelessWindowHint);
            for (QWidget* each : {&window, static_cast<QWidget*>(&dialog), &frameless}) {
                each->resize(200, 100);
                // The second time as well: a hidden window loses its state.
                for (int time = 0; time < 2; ++time) {
                    each->show();
                    QTRY_VERIFY(isManaged(*each));
                    for (const auto& name : {"SKIP_TASKBAR"_L1, "SKIP_PAGER"_L1})
                        QTRY_VERIFY2(state(*each).contains(name) != shown, qPrintable(state(*each)));
                    each->hide();
                    QTRY_VERIFY(!isManaged(*each));
                }
            }
        }
    }

    void aWindowIsDrawnOnceWhileItWaits()
    {
        struct Drawn final : QWidget
        {
            int times = 0;
            void paintEvent(QPaintEvent*) override
            {
                QPainter(this).fillRect(rect(), ++times == 1 ? Qt::red : Qt::blue);
            }
        } window;
        window.resize(200, 100);
        window.show();
        platform::paintAhead(window);
        QCOMPARE(window.times, 1);
        QVERIFY(!window.windowHandle()->isExposed());
        QTRY_VERIFY(window.testAttribute(Qt::WA_Mapped));
        QCOMPARE(window.screen()->grabWindow(window.winId()).toImage().pixelColor(50, 50), QColor(Qt::red));
    }

    void windowAskedForComesToTheFront()
    {
        platform::LinuxDesktop desktop(m_time);
        QWidget first;
        QDialog second;
        QWidget third(nullptr, Qt::FramelessWindowHint);
        const QList<QWidget*> shown{&first, static_cast<QWidget*>(&second), &third};
        for (QWidget* window : shown) {
            window->resize(200, 100);
            window->show();
            QVERIFY(QTest::qWaitForWindowActive(window));
        }
        QList<QWidget*> stack = shown; // what was asked for on top, the others as before
        for (QWidget* asked : {&first, static_cast<QWidget*>(&second), &third}) {
            const Program other(QStringLiteral(OTHER_PROGRAM));
            QTRY_VERIFY(!QApplication::activeWindow() && activeWindow());
            Activations activations;
            desktop.activate(*asked);
            stack.removeOne(asked);
            stack << asked;
            QTRY_COMPARE(activeWindow(), asked->winId());
            QTRY_COMPARE(ourStack(stack), stack);
            QTRY_COMPARE(activations.seen, QList<QObject*>{asked});
        }

        // What is asked blocks the others.
        QDialog question;
        question.setModal(true);
        question.show();
        QVERIFY(QTest::qWaitForWindowActive(&question));
        desktop.activate(first);
        stack.removeOne(&first);
        stack << &first << &question;
        QTRY_COMPARE(ourStack(stack), stack);
        QCOMPARE(activeWindow(), question.winId());
    }

    void withoutATokenTheWindowIsOpenedAnew()
    {
        // None, and one that the desktop does not accept.
        for (const QByteArray token : {"", "stale"}) {
            // The window manager here would not need one: nothing else is different.
            platform::LinuxDesktop desktop(m_time, true);
            QWidget window;
            QLineEdit field(&window);
            Openings openings(window);
            desktop.bringForward(window);
            QVERIFY(QTest::qWaitForWindowActive(&window));
            field.setFocus();
            field.setText(u"typed"_s);
            desktop.bringForward(window); // in front already
            QCOMPARE(openings.count, 1);

            const Program other(QStringLiteral(OTHER_PROGRAM));
            QTRY_VERIFY(!QApplication::activeWindow() && activeWindow());
            qputenv("XDG_ACTIVATION_TOKEN", token);
            desktop.activate(window);
            if (!token.isEmpty()) {
                QCOMPARE(openings.count, 1);
                // As if it had not come to the front.
                window.clearFocus();
                QWidget another;
                another.show();
                QVERIFY(QTest::qWaitForWindowActive(&another));
                m_time.advance(300ms);
            }
            qunsetenv("XDG_ACTIVATION_TOKEN");
            QCOMPARE(openings.count, 2);
            QVERIFY(QTest::qWaitForWindowActive(&window));
            QCOMPARE(field.text(), u"typed"_s);
            QCOMPARE(window.focusWidget(), &field);
            m_time.advance(1s);
            QCOMPARE(openings.count, 2);
        }
    }

    void endsTheBusyPointer()
    {
        StartupListener listener;
        platform::x11::endStartup("menu/\"quillon\"-7_TIME42");
        const QByteArray expected = "remove: ID=\"menu/\\\"quillon\\\"-7_TIME42\"";
        QTRY_COMPARE(listener.text(), expected + QByteArray(40 - expected.size(), '\0'));
        platform::x11::endStartup({});
    }

private:
    support::ManualTimeSource m_time;
};

QTEST_MAIN(LinuxDesktopTest)
#include "LinuxDesktopTest.moc"
