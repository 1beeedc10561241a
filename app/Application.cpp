#include "app/Application.h"

#include "app/AppcastFeed.h"
#include "app/Check.h"
#include "app/Complaint.h"
#include "app/SessionBus.h"
#include "app/Text.h"
#include "app/WrenfoldMenulet.h"
#include "platform/Alerts.h"
#include "platform/InfoDictionary.h"
#include "platform/Paths.h"
#include "platform/Run.h"
#include "platform/SingleInstance.h"
#include "platform/SystemEnvironment.h"
#include "skin/Fonts.h"
#include "skin/Image.h"
#include "skin/QuillonStatusItemView.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace app {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using platform::environment;

namespace {

constexpr int ExitCannotRun = 1;
constexpr int ExitUsage = 2;

// A covered window is never painted; what waits for it must not wait for that.
constexpr auto LongestWaitForFace = 500ms;

constexpr char HelpText[] =
    R"(Usage: quillon [OPTION]…
       quillon COMMAND
Shows the hours of your running timer, and starts and stops it.

  --local        keep the timesheet on this computer, in the built-in service
  --info FILE    take tuning values from FILE (JSON) over the built-in ones
  --check        check what Quillon needs from this desktop, and print what to do about it
  --help         print this and exit
  --version      print the version and exit

Commands for the running program:
  toggle         start or stop the current timer
  new            show the window for a new timer
  timesheet      show or hide the timesheet
  preferences    show the preferences
  quit           end the program
  status         print the hours and what they are for
    --json         as JSON
    --follow       a line for each change, until nobody reads them
    --format TEXT  in the form of TEXT: {text} {hours} {state} {symbol} {project} {task} {client} {notes}

Settings:  $XDG_CONFIG_HOME/Quillon/Quillon.conf
Data:      $XDG_DATA_HOME/Quillon
)";

void print(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
}

/// Calls back once when the widget has been painted for the first time, or after a while.
class FirstPaint final : public QObject
{
public:
    FirstPaint(QWidget& widget, std::function<void()> done) : QObject(&widget), m_done(std::move(done))
    {
        widget.installEventFilter(this);
        QTimer::singleShot(LongestWaitForFace, this, &FirstPaint::finish);
    }

private:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            // Painted content is on its way to the screen only after this event.
            QTimer::singleShot(0, this, &FirstPaint::finish);
        }
        return false;
    }

    void finish()
    {
        if (const auto done = std::exchange(m_done, {}))
            done();
    }

    std::function<void()> m_done;
};

/// The program's icon for windows that have one in their frame or in a list of windows.
QIcon applicationIcon()
{
    const skin::Image image = skin::imageNamed("quillon.png");
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        image.draw(painter, QRectF(0, 0, size, size));
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

/// Ends the event loop on the signals with which a session or a terminal ends a program.
class EndOnSignal
{
public:
    EndOnSignal()
    {
        if (pipe2(s_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        m_notifier.emplace(s_pipe[0], QSocketNotifier::Read);
        QObject::connect(&*m_notifier, &QSocketNotifier::activated, [] { QCoreApplication::exit(0); });
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            std::signal(signal, [](int) { static_cast<void>(!write(s_pipe[1], "", 1)); });
    }

private:
    static inline int s_pipe[2] = {-1, -1};
    std::optional<QSocketNotifier> m_notifier;
};

/// The program in its desktop: the controller, and what reaches it over the bus.
class Program
{
public:
    /// False: another one runs and was asked to come forward.
    bool isFirst(QVariantMap startedBy)
    {
        return m_instance.claim(
            std::move(startedBy),
            [this] {
                if (m_menulet)
                    m_menulet->applicationShouldHandleReopen(false);
            },
            [this](const QString& action, SessionBus::Done done) {
                if (m_sessionBus)
                    m_sessionBus->perform(action, done);
                else // started by the desktop in order to activate it
                    m_waiting.emplace_back(action, std::move(done));
            });
    }

    /// The status item first: slow work starts once there is something to look at.
    void start(const BuiltInService::Maker& builtInService, bool local)
    {
        m_menulet.emplace(builtInService);
        m_menulet->applicationWillFinishLaunching();
        m_menulet->showStatusItem();
        new FirstPaint(m_menulet->statusItemView(), [this, local] {
            QApplication::setWindowIcon(applicationIcon());
            TimeHere& timeHere = m_menulet->timeHere();
            if (local || timeHere.isRemembered())
                timeHere.startUp([this, local](const QString& failure) { builtInServiceDidStart(failure, local); });
            else
                awake();
        });
    }

private:
    void builtInServiceDidStart(const QString& failure, bool local)
    {
        if (failure.isEmpty()) {
            awake();
            return;
        }
        complain(failure);
        // A start only for this service has nothing to show without it.
        if (local) {
            environment().alerts().show({TimeHere::startFailedTitle(), failure, {tr("Quit Quillon")}},
                                        [](int) { QCoreApplication::exit(ExitCannotRun); });
            return;
        }
        awake();
        TimeHere::showStartFailed(failure);
    }

    void awake()
    {
        m_menulet->awakeFromNib();
        m_sessionBus.emplace(*m_menulet, m_instance.busObject());
        for (const auto& [action, done] : m_waiting)
            m_sessionBus->perform(action, done);
    }

    platform::SingleInstance m_instance;
    std::vector<std::pair<QString, SessionBus::Done>> m_waiting;
    std::optional<WrenfoldMenulet> m_menulet;
    std::optional<SessionBus> m_sessionBus;
};

} // namespace

tl::expected<Arguments, QString> Arguments::parse(const QStringList& arguments)
{
    Arguments parsed;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        const bool isStatus = parsed.command && parsed.command->name == "status"_L1;
        if (argument == "--local"_L1) {
            parsed.local = true;
        } else if (argument == "--help"_L1 || argument == "-h"_L1) {
            parsed.help = true;
        } else if (argument == "--version"_L1) {
            parsed.version = true;
        } else if (argument == "--check"_L1) {
            parsed.check = true;
        } else if (argument == "--info"_L1) {
            if (++i == arguments.size())
                return tl::unexpected(tr("--info needs the name of a file"));
            parsed.infoFile = arguments.at(i);
        } else if (argument.startsWith("--info="_L1)) {
            parsed.infoFile = argument.mid(7);
        } else if (isStatus && argument == "--json"_L1) {
            parsed.command->json = true;
        } else if (isStatus && argument == "--follow"_L1) {
            parsed.command->follow = true;
        } else if (isStatus && (argument == "--format"_L1 || argument.startsWith("--format="_L1))) {
            if (argument == "--format"_L1 && ++i == arguments.size())
                return tl::unexpected(tr("--format needs a string"));
            const auto text = StatusText::parse(argument == "--format"_L1 ? arguments.at(i) : argument.mid(9));
            if (!text)
                return tl::unexpected(text.error());
            parsed.command->text = *text;
        } else if (argument.startsWith(u'-')) {
            return tl::unexpected(
                tr("there is no option \"%1\" %2(see quillon --help)")
                    .arg(argument, parsed.command ? tr("of %1 ").arg(parsed.command->name) : QString()));
        } else if (parsed.command || !BusCommand::exists(argument)) {
            return tl::unexpected(tr("there is no command \"%1\" (see quillon --help)").arg(argument));
        } else {
            parsed.command = BusCommand{.name = argument, .text = {}};
        }
    }
    if (parsed.check && (parsed.local || parsed.command))
        return tl::unexpected(tr("--check goes with no command and no option but --info"));
    if (parsed.command && (parsed.local || !parsed.infoFile.isEmpty()))
        return tl::unexpected(
            tr("%1 goes to the running program, and takes neither --local nor --info").arg(parsed.command->name));
    return parsed;
}

int Application::run(int argc, char** argv) const
{
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words << QString::fromLocal8Bit(argv[i]);
    const auto arguments = Arguments::parse(words);
    if (!arguments) {
        complain(arguments.error());
        return ExitUsage;
    }
    if (arguments->help || arguments->version) {
        print(arguments->help ? tr(HelpText) : u"quillon %1\n"_s.arg(QStringLiteral(QUILLON_VERSION)));
        return 0;
    }
    if (arguments->command)
        arguments->command->run(argc, argv);
    const QString infoFile = arguments->infoFile.isEmpty() ? qEnvironmentVariable("QUILLON_INFO") : arguments->infoFile;
    auto info = platform::InfoDictionary::load(infoFile);
    if (!info) {
        complain(info.error());
        return ExitUsage;
    }
    if (arguments->check)
        check(argc, argv, std::move(*info));
    if (arguments->local && !m_builtInService) {
        complain(tr("this build has no built-in service"));
        return ExitUsage;
    }
    if (!hasDisplay() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        complain(tr("there is no display to show anything on"));
        return ExitCannotRun;
    }
    return show(argc, argv, std::move(*info), arguments->local);
}

int Application::show(int argc, char** argv, platform::InfoDictionary info, bool local) const
{
    QApplication::setApplicationName(u"Quillon"_s);
    QApplication::setApplicationVersion(QStringLiteral(QUILLON_VERSION));
    QApplication::setDesktopFileName(u"com.wrenfold.quillon"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    QVariantMap startedBy = platform::startupIds();
    std::optional<DisplayGuard> guard([] {
        complain(noDisplay());
        _exit(ExitCannotRun);
    });
    const QApplication application(argc, argv);
    guard.reset();
    QApplication::setFont(skin::widgetFont(QApplication::font()));
    const EndOnSignal endOnSignal;

    platform::Run run(platform::systemEnvironment(std::move(info), [] { return std::make_unique<AppcastFeed>(); }));
    Program program;
    if (!program.isFirst(std::move(startedBy)))
        return 0;
    platform::makeOwnFolder(platform::configFolder());
    program.start(m_builtInService, local);
    return QApplication::exec();
}

} // namespace app
