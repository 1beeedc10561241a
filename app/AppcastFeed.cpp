#include "app/AppcastFeed.h"

#include "app/Text.h"
#include "app/UpdateWindow.h"
#include "platform/Alerts.h"
#include "platform/Desktop.h"
#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "service/HttpClient.h"
#include "settings/Keys.h"
#include "settings/UserDefaults.h"
#include "skin/Fonts.h"

#include <QProgressDialog>

namespace app {

using namespace Qt::StringLiterals;

using platform::environment;

namespace {

constexpr int StatusOk = 200;
constexpr int ProgressWidth = 340;
constexpr int ProgressDelay = 400; // milliseconds

settings::UserDefaults& defaults()
{
    return settings::UserDefaults::standardUserDefaults();
}

QString thisVersion()
{
    return environment().info().string("CFBundleVersion"_L1);
}

QUrl feedAddress()
{
    return QUrl(environment().info().string("SUFeedURL"_L1));
}

void showAlert(const QString& title, const QString& text)
{
    environment().alerts().show({title, text, {tr("OK")}});
}

tl::expected<std::optional<AppcastItem>, QString> fetch(const QByteArray& url, const QByteArray& userAgent,
                                                        std::chrono::milliseconds patience, const std::stop_token& stop)
{
    service::HttpClient client(patience, Appcast::LargestFeed);
    const service::HttpReply reply = client.send({.url = url, .headers = {{"User-Agent", userAgent}}}, stop);
    if (reply.error)
        return tl::unexpected(reply.error->localizedDescription);
    if (reply.status != StatusOk)
        return tl::unexpected(tr("The server answered with status %1.").arg(reply.status));
    return Appcast::newest(reply.body);
}

} // namespace

AppcastFeed::AppcastFeed(std::chrono::milliseconds patience) : m_patience(patience)
{
    defaults().registerDefaults({{settings::SUEnableAutomaticChecksKey, true}});
}

AppcastFeed::~AppcastFeed() = default;

bool AppcastFeed::isSetUp() const
{
    return !feedAddress().isEmpty();
}

bool AppcastFeed::automaticallyChecksForUpdates() const
{
    return defaults().boolForKey(settings::SUEnableAutomaticChecksKey);
}

void AppcastFeed::setAutomaticallyChecksForUpdates(bool checks)
{
    if (checks == automaticallyChecksForUpdates())
        return;
    defaults().setBool(settings::SUEnableAutomaticChecksKey, checks);
    // What could not be written is written with the next setting that is.
    static_cast<void>(defaults().synchronize());
    if (m_timer)
        lookUnasked();
}

void AppcastFeed::checkInBackground()
{
    if (!isSetUp())
        return;
    m_timer = environment().time().repeat(m_interval, [this] { lookUnasked(); });
    lookUnasked();
}

void AppcastFeed::lookUnasked()
{
    if (automaticallyChecksForUpdates())
        look();
}

void AppcastFeed::check()
{
    if (!isSetUp()) {
        showAlert(tr("Updates Come From the Package Manager"),
                  tr("Newer versions of Quillon come with those of the other programs on this computer."));
        return;
    }
    showProgress();
    look();
}

void AppcastFeed::look()
{
    // One under way answers this request as well.
    if (std::exchange(m_looking, true))
        return;
    const QByteArray userAgent = "Quillon/" + thisVersion().toUtf8();
    m_thread = std::jthread([this, presence = std::weak_ptr(m_presence), url = feedAddress().toEncoded(), userAgent,
                             patience = m_patience](const std::stop_token& stop) {
        Outcome outcome = fetch(url, userAgent, patience, stop);
        if (!stop.stop_requested())
            platform::Run::current().postToMain([this, presence, outcome = std::move(outcome)] {
                if (!presence.expired())
                    found(outcome);
            });
    });
}

void AppcastFeed::showProgress()
{
    if (m_progress)
        return;
    m_progress = std::make_unique<QProgressDialog>(tr("Looking for a newer version…"), tr("Cancel"), 0, 0);
    m_progress->setWindowTitle(tr("Software Update"));
    m_progress->setFont(skin::interfaceFont(13));
    m_progress->setMinimumWidth(ProgressWidth);
    m_progress->setMinimumDuration(ProgressDelay);
    m_progress->setValue(0); // from now on it counts
    QObject::connect(m_progress.get(), &QProgressDialog::canceled, m_progress.get(), [this] { cancel(); });
}

void AppcastFeed::cancel()
{
    m_thread.request_stop();
    m_looking = false;
    // It is emitting the signal that brought us here.
    m_progress.release()->deleteLater();
}

void AppcastFeed::found(const Outcome& outcome)
{
    m_looking = false;
    const bool asked = m_progress != nullptr;
    m_progress.reset();
    if (outcome && *outcome && Appcast::compareVersions((*outcome)->version, thisVersion()) > 0)
        tellNewer(**outcome, asked);
    else if (asked && outcome)
        showAlert(tr("You Have the Newest Version"),
                  tr("There is no newer version than Quillon %1.").arg(thisVersion()));
    else if (asked)
        showAlert(tr("Looking for Updates Failed"), outcome.error());
}

void AppcastFeed::tellNewer(const AppcastItem& item, bool asked)
{
    const bool heard =
        m_told.contains(item.version) || defaults().stringForKey(settings::SUSkippedVersionKey) == item.version;
    if (heard && !asked)
        return;
    m_told.insert(item.version);
    m_window = std::make_unique<UpdateWindow>(item, thisVersion());
    m_window->onGetIt = [page = item.page] { environment().desktop().openUrl(page); };
    m_window->onSkip = [version = item.version] {
        defaults().setString(settings::SUSkippedVersionKey, version);
        // As above.
        static_cast<void>(defaults().synchronize());
    };
    m_window->present(asked);
}

} // namespace app
