#pragma once

#include "service/HttpClient.h"
#include "service/OutcomeReceiver.h"

#include "model/XmlImport.h"
#include "settings/QuillonPreferences.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace platform {
class Run;
class TimeSource;
} // namespace platform

namespace store {
class Context;
struct ChangeSet;
} // namespace store

namespace service {

class RequestThrottle;

/// The whole body of the reply to wrong credentials.
inline constexpr char QuillonAuthenticationFailed[] = "Authentication failed for API request.";
/// The header of every reply with the version of the account's data, an integer.
inline constexpr char QuillonCompanyCacheVersionKey[] = "X-Company-Cache-Version";

/// What operations work with. It outlives them, and so does all that it refers to.
struct OperationServices
{
    platform::Run& run; ///< in which outcomes are posted
    platform::TimeSource& time;
    RequestThrottle& throttle;
    HttpClient& http;
    std::stop_token stop;
    QByteArray userAgent;
    std::function<void(std::shared_ptr<const store::ChangeSet>)> mergeChanges; ///< takes what one saves. Any thread
    std::function<void()> requestCompleted;                                    ///< one has ended. Main thread
};

/// One request to the service, from waiting for its turn to the call that reports its outcome.
///
/// Made and set up on the main thread, then handed to QuillonApi, which runs it once on its worker thread. It parses
/// into a context of its own. Outcomes are calls on the notification delegate, on the main thread.
class QuillonNetworkOperation
{
public:
    /// `url`: path and query below the account's base address. `objectType` parses the reply; null: it is not parsed.
    QuillonNetworkOperation(const QString& url, const std::optional<QByteArray>& postData, model::XmlImport objectType,
                            const settings::QuillonPreferences& usingCredentials, const OperationServices& services);
    QuillonNetworkOperation(const QString& url, model::XmlImport objectType,
                            const settings::QuillonPreferences& usingCredentials, const OperationServices& services)
        : QuillonNetworkOperation(url, std::nullopt, objectType, usingCredentials, services)
    {
    }
    virtual ~QuillonNetworkOperation();
    QuillonNetworkOperation(const QuillonNetworkOperation&) = delete;
    QuillonNetworkOperation& operator=(const QuillonNetworkOperation&) = delete;

    void setNotificationDelegate(OutcomeReceiver* delegate) { m_notificationDelegate = ReceiverHandle(delegate); }
    void setNotificationSelector(SuccessSelector selector) { m_notificationSelector = selector; }
    void setErrorNotificationSelector(FailureSelector selector) { m_errorNotificationSelector = selector; }
    /// Counts only for a request with a body: one without goes out as GET whatever is set here, as the service's
    /// address for deleting expects.
    void setHttpMethod(const QByteArray& method) { m_httpMethod = method; }
    /// Called once on the main thread, as soon as it is known whether the service did what was requested: before the
    /// failure or the success is reported, and also when neither is. Not called when a stop is requested.
    void setEnded(std::function<void(const Result&)> ended) { m_ended = std::move(ended); }
    /// The request changes something although it has no body.
    void setChangesSomething(bool changes) { m_changesSomething = changes; }
    /// The request goes to the saved account, even while another one is in use.
    void setTriesSavedAccount(bool tries) { m_triesSavedAccount = tries; }

    /// The request is for the account that is in use now. Without this call: for the one at the start.
    void bindToAccount();

    /// Runs the whole request, on the worker thread, with the present credentials. If another account is in use by then
    /// a request that only reads is dropped; one that changes something goes to the account it is for, and only a
    /// failure on the way is reported. Replies for an account that is no longer in use are dropped whole. Nothing is
    /// sent, and nothing reported, once a stop is requested.
    void start();

    /// Bytes of the largest reply so far.
    qsizetype largestReply() const { return m_largestReply; }

protected:
    virtual void main();
    void waitForThrottle();
    void notifyComplete();
    virtual void makeRequest();
    void makeRequestWithPostData(const std::optional<QByteArray>& postData);

    void setUpHeaders(HttpRequest& request) const;
    void setUpAuthentication(HttpRequest& request) const;
    /// Sends. The first attempt of every request with its own reply goes through here.
    virtual HttpReply doRequest(const HttpRequest& request);

    /// A null `body` is one that is not UTF-8.
    static bool isAuthenticationError(const QByteArray& body);
    /// Whether the service reported failure, with the reason if it gave one.
    static bool isApplicationError(const QByteArray& body, int withStatus, std::optional<Error>& error);
    virtual void processResponse(const HttpReply& response);
    /// Frees the body as soon as it is read, which matters for a large one.
    virtual bool parseWithTarget(QByteArray body);

    HttpRequest request(const QString& path, const std::optional<QByteArray>& postData) const;
    /// Waits and repeats the request if the service asks for it. False when stopped.
    bool retryIfUnavailable(const HttpRequest& request, HttpReply& reply);
    static std::optional<qint64> cacheVersion(const HttpReply& response);
    /// Null where there is no coordinator.
    store::Context* managedObjectContext();
    void parseIntoCompany(QByteArray body);
    const settings::Credentials& credentials() const { return m_snapshot; }
    /// Also true when the saved account is tried out.
    bool isForAccountInUse() const;
    bool isStopped() const { return m_services.stop.stop_requested(); }

    /// Calls on the notification delegate, if one is set.
    void tellDelegate(std::function<void(OutcomeReceiver&)> outcome);
    void tellSuccess();
    void tellFailure(const std::optional<Error>& error);

private:
    void tellEnded(Result result);

    const QString m_url;
    const std::optional<QByteArray> m_postData;
    const settings::QuillonPreferences& m_credentials;
    const OperationServices& m_services;
    std::optional<settings::Credentials> m_account; ///< that the request is for
    settings::Credentials m_snapshot;               ///< as they were when the operation started
    const model::XmlImport m_target;
    ReceiverHandle m_notificationDelegate;
    SuccessSelector m_notificationSelector = nullptr;
    FailureSelector m_errorNotificationSelector = nullptr;
    std::function<void(const Result&)> m_ended; ///< empty once it was called
    std::unique_ptr<store::Context> m_managedObjectContext;
    const std::chrono::system_clock::time_point m_madeAt;
    QByteArray m_httpMethod;
    bool m_changesSomething = false;
    bool m_triesSavedAccount = false;
    qsizetype m_largestReply = 0;
};

} // namespace service
