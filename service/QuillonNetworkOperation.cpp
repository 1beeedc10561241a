#include "QuillonNetworkOperation.h"

#include "Base64.h"
#include "QuillonApi.h"

#include "model/Company.h"
#include "model/Host.h"
#include "platform/Run.h"
#include "platform/TimeSource.h"
#include "store/Context.h"

#include <algorithm>
#include <charconv>
#include <mutex>
#include <utility>

namespace service {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto patience = 300s;

} // namespace

QuillonNetworkOperation::QuillonNetworkOperation(const QString& url, const std::optional<QByteArray>& postData,
                                                 model::XmlImport objectType,
                                                 const settings::QuillonPreferences& usingCredentials)
    : m_url(url), m_postData(postData), m_credentials(usingCredentials), m_target(objectType),
      m_httpMethod(postData ? "POST" : "GET")
{
}

QuillonNetworkOperation::QuillonNetworkOperation(const QString& url, model::XmlImport objectType,
                                                 const settings::QuillonPreferences& usingCredentials)
    : QuillonNetworkOperation(url, std::nullopt, objectType, usingCredentials)
{
}

QuillonNetworkOperation::~QuillonNetworkOperation() = default;

void QuillonNetworkOperation::attach(QuillonApi& api, HttpClient& http, std::stop_token stop)
{
    m_api = &api;
    m_http = &http;
    m_stop = std::move(stop);
    m_snapshot = m_triesSavedAccount ? m_credentials.savedCredentials() : m_credentials.credentials();
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
    // Held while asleep: whoever comes later waits behind.
    const std::lock_guard lock(m_api->requestHistoryMutex());
    if (const auto wait = m_api->currentThrottleWait())
        m_api->time().sleepFor(*wait, m_stop);
    m_api->newRequestStarted();
}

void QuillonNetworkOperation::notifyComplete()
{
    tellEnded(false);
    const std::lock_guard lock(m_api->requestHistoryMutex());
    m_api->run().postToMain([api = m_api] { api->requestCompleted(); });
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

    // Null when it is no UTF-8. From here on there is no other, so that its last reader can give it up.
    QByteArray body = std::move(reply.body);
    if (!body.isValidUtf8())
        body = QByteArray();
    if (!isAuthenticationError(body) && reply.error) {
        tellFailure(reply.error);
        return;
    }
    processResponse(reply);
    if (isAuthenticationError(body)) {
        tellDelegate([](OutcomeReceiver& delegate) { delegate.authenticationFailed(); });
        return;
    }
    tellDelegate([](OutcomeReceiver& delegate) { delegate.authenticationSucceeded(); });
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
    }
    request.changesSomething = m_changesSomething;
    return request;
}

void QuillonNetworkOperation::setUpHeaders(HttpRequest& request) const
{
    request.headers.emplace_back("Content-Type", "application/xml");
    request.headers.emplace_back("Accept", "application/xml");
    request.headers.emplace_back("User-Agent", m_api->userAgent());
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
    return m_http->send(request, m_stop);
}

bool QuillonNetworkOperation::retryIfUnavailable(const HttpRequest& request, HttpReply& reply)
{
    if ((reply.status == 502 || reply.status == 503) && m_api->time().sleepFor(patience, m_stop))
        reply = m_http->send(request, m_stop);
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
    // A body that is no XML explains nothing.
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
    std::from_chars(digits.begin(), digits.end(), version); // what is no number counts as zero
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
    // A reply that cannot be read changes nothing, and is told to nobody: the next refresh brings the same again.
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
    m_managedObjectContext->setStop(m_stop);
    if (m_mergeDelegate) {
        m_managedObjectContext->setDidSave(
            [delegate = m_mergeDelegate](std::shared_ptr<const store::ChangeSet> changes) {
                delegate->mergeChanges(std::move(changes));
            });
    }
    return m_managedObjectContext.get();
}

void QuillonNetworkOperation::tellDelegate(std::function<void(OutcomeReceiver&)> outcome)
{
    if (!m_notificationDelegate.isSet() || isStopped())
        return;
    m_api->run().postToMain([delegate = m_notificationDelegate, outcome = std::move(outcome)] {
        if (OutcomeReceiver* receiver = delegate.get())
            outcome(*receiver);
    });
}

void QuillonNetworkOperation::tellEnded(bool succeeded)
{
    if (m_ended && !isStopped())
        m_api->run().postToMain([ended = std::exchange(m_ended, {}), succeeded] { ended(succeeded); });
}

void QuillonNetworkOperation::tellSuccess()
{
    tellEnded(true);
    if (m_notificationSelector)
        tellDelegate([selector = m_notificationSelector](OutcomeReceiver& delegate) { (delegate.*selector.method)(); });
}

void QuillonNetworkOperation::tellFailure(const std::optional<Error>& error)
{
    tellEnded(false);
    if (m_errorNotificationSelector) {
        tellDelegate([selector = m_errorNotificationSelector, error](OutcomeReceiver& delegate) {
            (delegate.*selector.method)(error);
        });
    }
}

} // namespace service
