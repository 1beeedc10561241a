#include "platform/linux/LinuxDesktop.h"

#include <QDialog>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// What the window manager says of a window that is shown.
QString state(const QWidget& window)
{
    QProcess xprop;
    xprop.start(u"xprop"_s, {u"-id"_s, QString::number(window.winId()), u"WM_STATE"_s, u"_NET_WM_STATE"_s});
    xprop.waitForFinished();
    return QString::fromLatin1(xprop.readAllStandardOutput());
}

bool isManaged(const QWidget& window)
{
    return state(window).contains("window state: Normal"_L1);
}

} // namespace

class LinuxDesktopTest final : public QObject
{
    Q_OBJECT
private slots:
    void windowsInTheTaskBar_data();
    void windowsInTheTaskBar();
    void bringsWindowsToTheFront();
};

void LinuxDesktopTest::windowsInTheTaskBar_data()
{
    QTest::addColumn<bool>("shown");
    QTest::newRow("shown") << true;
    QTest::newRow("left out") << false;
}

void LinuxDesktopTest::windowsInTheTaskBar()
{
    QFETCH(bool, shown);
    platform::LinuxDesktop desktop;
    desktop.setShownInTaskBar(shown);

    QWidget window;
    window.resize(200, 100);
    QDialog dialog;
    QWidget frameless(nullptr, Qt::FramelessWindowHint);
    frameless.resize(200, 100);
    for (QWidget* each : {&window, static_cast<QWidget*>(&dialog), &frameless}) {
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

void LinuxDesktopTest::bringsWindowsToTheFront()
{
    platform::LinuxDesktop desktop;
    QWidget first;
    first.show();
    QVERIFY(QTest::qWaitForWindowActive(&first));
    QProcess other;
    other.start(QStringLiteral(OTHER_PROGRAM), QStringList());
    QTRY_VERIFY(!first.isActiveWindow());
    desktop.activate();
    QTRY_VERIFY(first.isActiveWindow());
    other.terminate();
    other.waitForFinished();
}

QTEST_MAIN(LinuxDesktopTest)
#include "LinuxDesktopTest.moc"
