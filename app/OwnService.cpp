#include "app/OwnService.h"

#include "platform/Desktop.h"
#include "platform/Run.h"
#include "settings/QuillonPreferences.h"

#include <QPointer>
#include <QRandomGenerator>

namespace app {

using namespace Qt::StringLiterals;

namespace {

/// What the account is called in the local store. No account elsewhere can have this name, so that what is known of the
/// one is never taken for the other's.
constexpr auto NameInStore = ".local"_L1;

// Nobody types it: it is made anew for each start and kept nowhere.
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

} // namespace

OwnService::OwnService(Maker maker, EmbeddedService::FileTrouble fileTrouble)
    : m_maker(std::move(maker)), m_fileTrouble(std::move(fileTrouble))
{
}

OwnService::~OwnService()
{
    end();
}

void OwnService::start(std::function<void(const QString&)> done)
{
    if (m_starting.joinable())
        return;
    end();
    m_service = m_maker();
    const QString password = newPassword();
    m_starting = std::jthread([self = QPointer(this), service = m_service.get(), password, done = std::move(done)] {
        auto account = service->start(password, [self](const QString& sentence) {
            platform::Run::current().postToMain([self, sentence] {
                if (self)
                    self->m_fileTrouble(sentence);
            });
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

void OwnService::signIn(const EmbeddedService::Account& account, const QString& password)
{
    settings::QuillonPreferences::sharedPreferences().keepTimeHere({account.email, password, NameInStore, account.url});
    platform::environment().desktop().setTranslation([service = m_service.get(), url = QUrl(account.url)](QUrl page) {
        return isBelow(page, url) ? service->signedInLink(page) : page;
    });
}

void OwnService::end()
{
    if (!m_service)
        return;
    if (m_starting.joinable())
        m_starting.join();
    platform::environment().desktop().setTranslation({});
    m_service.reset();
}

} // namespace app
