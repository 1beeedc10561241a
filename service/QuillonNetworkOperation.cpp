#include "QuillonNetworkOperation.h"

#include "Base64.h"
#include "RequestThrottle.h"

#include "model/Company.h"
#include "model/Host.h"
#include "platform/Run.h"
#include "platform/TimeSource.h"
#include "store/Context.h"
#include "store/Utc.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <charconv>
#include <utility>

namespace service {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto Patience = 300s;

} // namespace

QuillonNetworkOperation::QuillonNetworkOperation(const QString& url, const std::optional<QByteArray>& postData,
                                                 model::XmlImport objectType,
                                                 const settings::QuillonPreferences& usingCredentials,
                                                 const OperationServices& services)
    : m_url(url), m_postData(postData), m_credentials(usingCredentials), m_services(services), m_target(objectType),
      m_madeAt(services.time.now()), m_httpMethod(postData ? "POST" : "GET")
{
}

QuillonNetworkOperation::~QuillonNetworkOperation() = default;

void QuillonNetworkOperation::bindToAccount()
{
    m_account = m_credentials.credentials();
}

void QuillonNetworkOperation::start()
{
    m_snapshot = m_triesSavedAccount ? m_credentials.savedCredentials() : m_credentials.credentials();
    if (!m_triesSavedAccount && m_account && !m_account->isSameAccount(m_snapshot)) {
        if (!m_postData && !m_changesSomething) {
            notifyComplete();
            return;
        }
        m_snapshot = *m_account;
    }
    main();
}

bool QuillonNetworkOperation::isForAccountInUse() const
{
    return m_triesSavedAccount || m_snapshot.isSameAccount(m_credentials.credentials());
}

void QuillonNetworkOperation::main()
{
    if (isStopped())
        return;
    waitForThrottle();
    makeRequestWithPostData(m_postData);
    notifyComplete();
}

void QuillonNetworkOperation::waitForThrottle()
{
    m_services.throttle.wait(m_services.stop);
}

void QuillonNetworkOperation::notifyComplete()
{
    tellEnded({});
    m_services.run.postToMain(m_services.requestCompleted);
}

void QuillonNetworkOperation::makeRequest()
{
    makeRequestWithPostData(std::nullopt);
}

void QuillonNetworkOperation::makeRequestWithPostData(const std::optional<QByteArray>& postData)
{
    if (isStopped())
        return;
    const HttpRequest sent = request(m_url, postData);
    HttpReply reply = doRequest(sent);
    if (!retryIfUnavailable(sent, reply))
        return;
    m_largestReply = std::max(m_largestReply, reply.body.size());

    // Null when it is not UTF-8. The only copy from here on, so that its last reader can free it.
    QByteArray body = std::move(reply.body);
    if (!body.isValidUtf8())
        body = QByteArray();
    if (!isAuthenticationError(body) && reply.error) {
        tellFailure(reply.error);
        return;
    }
    if (!isForAccountInUse())
        return;
    processResponse(reply);
    if (isAuthenticationError(body)) {
        tellDelegate(&OutcomeReceiver::authenticationFailed);
        return;
    }
    tellDelegate(&OutcomeReceiver::authenticationSucceeded);
    std::optional<Error> error;
    if (isApplicationError(body, reply.status, error))
        tellFailure(error);
    parseWithTarget(std::move(body));
}

HttpRequest QuillonNetworkOperation::request(const QString& path, const std::optional<QByteArray>& postData) const
{
    HttpRequest request;
    request.url = (m_snapshot.fullUrl + path).toUtf8();
    setUpHeaders(request);
    setUpAuthentication(request);
    if (postData) {
        request.body = postData;
        request.method = m_httpMethod.isEmpty() ? QByteArray("GET") : m_httpMethod;
        // It may wait for others: the hours in it are those of this moment.
        const auto madeAt = std::chrono::floor<std::chrono::seconds>(m_madeAt).time_since_epoch().count();
        request.headers.emplace_back("Date", QLocale::c()
                                                 .toString(QDateTime::fromSecsSinceEpoch(madeAt, store::Utc),
                                                           u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s)
                                                 .toLatin1());
    }
    request.changesSomething = m_changesSomething;
    return request;
}

void QuillonNetworkOperation::setUpHeaders(HttpRequest& request) const
{
    request.headers.emplace_back("Content-Type", "application/xml");
    request.headers.emplace_back("Accept", "application/xml");
    request.headers.emplace_back("User-Agent", m_services.userAgent);
}

void QuillonNetworkOperation::setUpAuthentication(HttpRequest& request) const
{
    const platform::Secret<QString> pair = m_snapshot.email + u':' + *m_snapshot.password;
    const platform::Secret<QByteArray> bytes = pair->toUtf8();
    const platform::Secret<QString> text = encodeBase64WithNewlines(*bytes, false);
    const platform::Secret<QByteArray> latin = text->toLatin1();
    request.authorization = "Basic " + *latin;
}

HttpReply QuillonNetworkOperation::doRequest(const HttpRequest& request)
{
    return m_services.http.send(request, m_services.stop);
}

bool QuillonNetworkOperation::retryIfUnavailable(const HttpRequest& request, HttpReply& reply)
{
    if ((reply.status == 502 || reply.status == 503) && m_services.time.sleepFor(Patience, m_services.stop))
        reply = m_services.http.send(request, m_services.stop);
    return !isStopped();
}

bool QuillonNetworkOperation::isAuthenticationError(const QByteArray& body)
{
    return body == QuillonAuthenticationFailed || body.startsWith("<!DOCTYPE html>");
}

bool QuillonNetworkOperation::isApplicationError(const QByteArray& body, int withStatus, std::optional<Error>& error)
{
    if (withStatus != 500)
        return false;
    // A body that is not XML explains nothing.
    error = QuillonError::parseXml(body).value_or(std::nullopt);
    return true;
}

std::optional<qint64> QuillonNetworkOperation::cacheVersion(const HttpReply& response)
{
    const std::optional<QByteArray> text = response.header(QuillonCompanyCacheVersionKey);
    if (!text)
        return std::nullopt;
    const QByteArray digits = text->trimmed();
    qint64 version = 0;
    std::from_chars(digits.begin(), digits.end(), version); // anything but a number counts as zero
    return version;
}

void QuillonNetworkOperation::processResponse(const HttpReply& response)
{
    if (const auto version = cacheVersion(response))
        tellDelegate([=](OutcomeReceiver& delegate) { delegate.gotQuillonCompanyCacheVersion(*version); });
}

bool QuillonNetworkOperation::parseWithTarget(QByteArray body)
{
    if (!m_target)
        return true;
    parseIntoCompany(std::move(body));
    tellSuccess();
    return true;
}

void QuillonNetworkOperation::parseIntoCompany(QByteArray body)
{
    store::Context* context = managedObjectContext();
    if (!context || !m_target)
        return;
    model::Company& company = model::Company::findOrCreateCompany(m_snapshot.url, *context);
    // An unreadable reply changes nothing and is not reported: the next refresh brings the same again.
    static_cast<void>(m_target(std::move(body), company, *context));
}

store::Context* QuillonNetworkOperation::managedObjectContext()
{
    if (m_managedObjectContext)
        return m_managedObjectContext.get();
    model::Host* host = model::Host::current();
    auto coordinator = host ? host->coordinator() : nullptr;
    if (!coordinator)
        return nullptr;
    m_managedObjectContext =
        std::make_unique<store::Context>(std::move(coordinator), store::MergePolicy::PropertyObjectTrump);
    m_managedObjectContext->setStop(m_services.stop);
    m_managedObjectContext->setDidSave(m_services.mergeChanges);
    return m_managedObjectContext.get();
}

void QuillonNetworkOperation::tellDelegate(std::function<void(OutcomeReceiver&)> outcome)
{
    if (!m_notificationDelegate.isSet() || isStopped())
        return;
    m_services.run.postToMain([delegate = m_notificationDelegate, outcome = std::move(outcome)] {
        if (OutcomeReceiver* receiver = delegate.get())
            outcome(*receiver);
    });
}

void QuillonNetworkOperation::tellEnded(Result result)
{
    if (m_ended && !isStopped())
        m_services.run.postToMain([ended = std::exchange(m_ended, {}), result = std::move(result)] { ended(result); });
}

void QuillonNetworkOperation::tellSuccess()
{
    tellEnded({.succeeded = true, .error = {}});
    if (m_notificationSelector)
        tellDelegate(m_notificationSelector);
}

void QuillonNetworkOperation::tellFailure(const std::optional<Error>& error)
{
    tellEnded({.succeeded = false, .error = error});
    if (m_errorNotificationSelector)
        tellDelegate([=, selector = m_errorNotificationSelector](OutcomeReceiver& to) { (to.*selector)(error); });
}

} // namespace service
