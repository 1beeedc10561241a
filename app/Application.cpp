#include "app/Application.h"

#include "app/AppcastFeed.h"
#include "app/BookingBus.h"
#include "app/Check.h"
#include "app/Complaint.h"
#include "app/Preparation.h"
#include "app/SearchBus.h"
#include "app/SessionBus.h"
#include "app/Text.h"
#include "app/WrenfoldMenulet.h"
#include "platform/Alerts.h"
#include "platform/InfoDictionary.h"
#include "platform/Paths.h"
#include "platform/Run.h"
#include "platform/SingleInstance.h"
#include "platform/SystemEnvironment.h"
#include "platform/TextScaling.h"
#include "skin/DesktopAppearance.h"
#include "skin/Fonts.h"
#include "skin/Image.h"
#include "skin/QuillonStatusItemView.h"

#include <QApplication>
#include <QIconEngine>
#include <QScopeGuard>
#include <QSocketNotifier>
#include <QThreadPool>
#include <QTimer>

#include <algorithm>
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

constexpr auto IconDelay = 1s;

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

/// The program's icon for windows that have one in their frame or in a list of windows. Drawn when a window comes,
/// which hands it to the desktop: nothing is kept here.
class ProgramIcon final : public QIconEngine
{
public:
    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        return skin::imageNamed("quillon.png").pixmapOnce(std::min(size.width(), size.height()));
    }
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        skin::imageNamed("quillon.png").draw(*painter, rect);
    }
    QIconEngine* clone() const override { return new ProgramIcon; }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {{16, 16}, {24, 24}, {32, 32}, {48, 48}, {64, 64}, {128, 128}};
    }
};

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
        const bool first = m_instance.claim(
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
        if (first)
            m_bookingBus.emplace(m_instance.busObject());
        return first;
    }

    /// The status item first: slow work of this thread starts once there is something to look at.
    void start(const BuiltInService::Maker& builtInService, const Preparation& preparation, const Arguments& arguments)
    {
        m_background = arguments.background;
        m_menulet.emplace(builtInService);
        preparation.beforeFace();
        m_menulet->applicationWillFinishLaunching();
        m_menulet->showStatusItem();
        const auto goOn = [this, preparation, local = arguments.local] {
            preparation.afterFace();
            m_appearance.emplace();
            TimeHere& timeHere = m_menulet->timeHere();
            if (local || timeHere.isRemembered())
                timeHere.startUp([this, local](const QString& failure) { builtInServiceDidStart(failure, local); });
            else
                awake();
        };
        if (preparation.isFirstStart())
            QTimer::singleShot(0, &*m_menulet, goOn); // while the desktop makes room for the face
        else
            new FirstPaint(m_menulet->statusItemView(), goOn);
        // For lists of windows, which have it from the desktop's files, too: drawn once nobody waits for a window.
        QTimer::singleShot(IconDelay, &*m_menulet, [] { QApplication::setWindowIcon(QIcon(new ProgramIcon)); });
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
        // A call that started the program asks for no window.
        if (m_background || m_bookingBus->wasCalled())
            m_menulet->startInBackground();
        m_menulet->awakeFromNib();
        m_bookingBus->open(m_menulet->bookings());
        m_searchBus.emplace(m_instance.busObject(), m_menulet->bookings());
        m_sessionBus.emplace(*m_menulet, m_instance.busObject());
        for (const auto& [action, done] : m_waiting)
            m_sessionBus->perform(action, done);
    }

    platform::SingleInstance m_instance;
    std::vector<std::pair<QString, SessionBus::Done>> m_waiting;
    bool m_background = false;
    std::optional<skin::DesktopAppearance> m_appearance;
    std::optional<WrenfoldMenulet> m_menulet;
    std::optional<BookingBus> m_bookingBus;
    std::optional<SearchBus> m_searchBus;
    std::optional<SessionBus> m_sessionBus;
};

} // namespace

tl::expected<Arguments, QString> Arguments::parse(const QStringList& arguments)
{
    constexpr auto info = "--info="_L1;
    Arguments parsed;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == "--local"_L1)
            parsed.local = true;
        else if (argument == "--background"_L1)
            parsed.background = true;
        else if (argument == "--check"_L1)
            parsed.check = true;
        else if (argument == "--info"_L1 && i + 1 == arguments.size())
            return tl::unexpected(tr("--info needs the name of a file"));
        else if (argument == "--info"_L1)
            parsed.infoFile = arguments.at(++i);
        else if (argument.startsWith(info))
            parsed.infoFile = argument.mid(info.size());
        else if (argument.startsWith(u'-'))
            return tl::unexpected(tr("there is no option \"%1\" (see quillon --help)").arg(argument));
        else
            return tl::unexpected(tr("\"%1\" goes to the running program, and takes neither --local nor --info; "
                                     "commands come first (see quillon --help)")
                                      .arg(argument));
    }
    if (parsed.check && (parsed.local || parsed.background))
        return tl::unexpected(tr("--check goes with no option but --info"));
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
    return show(argc, argv, std::move(*info), *arguments);
}

int Application::show(int argc, char** argv, platform::InfoDictionary info, const Arguments& arguments) const
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
    std::optional<platform::Run> run(
        std::in_place, platform::systemEnvironment(std::move(info), [] { return std::make_unique<AppcastFeed>(); }));
    const Preparation preparation(arguments.local || (m_builtInService && TimeHere::wasChosen()));
    preparation.beforeApplication();
    // It changes the environment, which threads read: before the fonts', until after it.
    std::optional<platform::TextScaling> textScaling(std::in_place);
    std::optional<skin::FontPreparation> fonts(std::in_place);
    const QApplication application(argc, argv);
    const QScopeGuard endOfRun([&] { run.reset(); });
    guard.reset();
    // The toolkit paints larger gradients in parallel, in as many threads as there are processors. For pictures of our
    // size that costs more than it gains: stacks, a heap for each, and their wake-ups.
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    QApplication::setFont(skin::widgetFont(QApplication::font()));
    const EndOnSignal endOnSignal;

    Program program;
    const bool first = program.isFirst(std::move(startedBy));
    fonts.reset();
    textScaling.reset();
    if (!first)
        return 0;
    platform::makeOwnFolder(platform::configFolder());
    program.start(m_builtInService, preparation, arguments);
    return QApplication::exec();
}

} // namespace app
