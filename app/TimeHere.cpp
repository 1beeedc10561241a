#include "app/TimeHere.h"

#include "app/Complaint.h"
#include "platform/Alerts.h"
#include "platform/Desktop.h"
#include "platform/Run.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"

#include <QPointer>
#include <QRandomGenerator>

namespace app {

using namespace Qt::StringLiterals;

using platform::environment;

namespace {

/// The account's name in the local store. No account elsewhere can have this name, so the caches of the two never mix.
constexpr auto NameInStore = ".local"_L1;

// Never typed: it is made anew for each start and stored nowhere.
QString newPassword()
{
    quint32 random[6];
    QRandomGenerator::system()->fillRange(random);
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char*>(random), sizeof random).toBase64(QByteArray::Base64UrlEncoding));
}

bool isBelow(const QUrl& page, const QUrl& account)
{
    return page.scheme() == account.scheme() && page.host() == account.host() && page.port() == account.port();
}

settings::QuillonPreferences& preferences()
{
    return settings::QuillonPreferences::sharedPreferences();
}

void remember(bool here)
{
    settings::UserDefaults::standardUserDefaults().setBool(settings::QuillonKeepTimeHereKey, here);
    // Where it cannot be written it holds for this run.
    static_cast<void>(settings::UserDefaults::standardUserDefaults().synchronize());
}

} // namespace

TimeHere::TimeHere(BuiltInService::Maker maker) : m_maker(std::move(maker)) {}

TimeHere::~TimeHere()
{
    end();
}

bool TimeHere::wasChosen()
{
    return settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonKeepTimeHereKey);
}

void TimeHere::startUp(std::function<void(const QString&)> done)
{
    preferences().keepTimeHere({});
    start(std::move(done));
}

void TimeHere::keepTimeHere(std::function<void(bool)> done)
{
    start([this, done = std::move(done)](const QString& failure) {
        if (!failure.isEmpty()) {
            showStartFailed(failure);
            done(false);
            return;
        }
        remember(true);
        done(true);
        emit kept();
    });
}

void TimeHere::keepTimeElsewhere()
{
    preferences().keepTimeElsewhere();
    remember(false);
}

QString TimeHere::copiesInWords() const
{
    // While it starts it is used by another thread.
    return m_service && !m_starting.joinable() ? m_service->copiesInWords() : QString();
}

void TimeHere::start(std::function<void(const QString&)> done)
{
    if (m_starting.joinable())
        return;
    end();
    m_service = m_maker();
    const QString password = newPassword();
    m_starting = std::jthread([self = QPointer(this), service = m_service.get(), password, done = std::move(done)] {
        auto account = service->start(password, [](const QString& sentence) {
            platform::Run::current().postToMain([sentence] { showFileTrouble(sentence); });
        });
        platform::Run::current().postToMain([self, account = std::move(account), password, done] {
            if (!self)
                return;
            self->m_starting.join();
            if (account)
                self->signIn(*account, password);
            else
                self->end();
            done(account ? QString() : account.error());
        });
    });
}

void TimeHere::signIn(const BuiltInService::Account& account, const QString& password)
{
    preferences().keepTimeHere({account.email, password, NameInStore, account.url});
    environment().desktop().setTranslation([service = m_service.get(), url = QUrl(account.url)](const QUrl& page) {
        return isBelow(page, url) ? service->signedInLink(page) : page;
    });
}

void TimeHere::end()
{
    if (!m_service)
        return;
    if (m_starting.joinable())
        m_starting.join();
    environment().desktop().setTranslation({});
    m_service.reset();
}

QString TimeHere::startFailedTitle()
{
    return tr("The Built-in Service Could Not Be Started");
}

void TimeHere::showStartFailed(const QString& failure)
{
    environment().alerts().show({startFailedTitle(), failure, {tr("OK")}});
}

void TimeHere::showFileTrouble(const QString& sentence)
{
    if (sentence.isEmpty())
        return;
    complain(sentence);
    environment().alerts().show(
        {.title = tr("Your Time Cannot Be Saved"), .text = sentence, .buttons = {tr("OK")}, .unasked = true});
}

} // namespace app
