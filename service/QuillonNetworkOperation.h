#pragma once

#include "service/HttpClient.h"
#include "service/OutcomeReceiver.h"

#include "model/XmlImport.h"
#include "settings/QuillonPreferences.h"

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace store {
class Context;
}

namespace service {

class QuillonApi;

/// The whole body of a reply to bad credentials.
inline constexpr char QuillonAuthenticationFailed[] = "Authentication failed for API request.";
/// The header in which every reply tells the version of the account's data, an integer.
inline constexpr char QuillonCompanyCacheVersionKey[] = "X-Company-Cache-Version";

/// One request to the service, from the wait for its turn to the call that tells its outcome.
///
/// Made and set up on the main thread, then handed to QuillonApi, which runs it once on its worker thread. What it
/// parses goes into a context of its own. Outcomes are calls on the notification delegate, on the main thread.
class QuillonNetworkOperation
{
public:
    /// `url`: path and query below the account's base address. `objectType` parses the reply; null: nobody does.
    QuillonNetworkOperation(const QString& url, const std::optional<QByteArray>& postData, model::XmlImport objectType,
                            const settings::QuillonPreferences& usingCredentials);
    QuillonNetworkOperation(const QString& url, model::XmlImport objectType,
                            const settings::QuillonPreferences& usingCredentials);
    virtual ~QuillonNetworkOperation();
    QuillonNetworkOperation(const QuillonNetworkOperation&) = delete;
    QuillonNetworkOperation& operator=(const QuillonNetworkOperation&) = delete;

    void setNotificationDelegate(OutcomeReceiver* delegate) { m_notificationDelegate = ReceiverHandle(delegate); }
    void setNotificationSelector(SuccessSelector selector) { m_notificationSelector = selector; }
    void setErrorNotificationSelector(FailureSelector selector) { m_errorNotificationSelector = selector; }
    /// Takes what the operation saves.
    void setMergeDelegate(QuillonApi* delegate) { m_mergeDelegate = delegate; }
    /// Counts only for a request with a body: one without goes out as GET whatever is set here. The service's address
    /// for deleting wants it so.
    void setHttpMethod(const QByteArray& method) { m_httpMethod = method; }
    /// Called once on the main thread, as soon as it is known whether the service has done what was asked: before the
    /// failure or the success is told, and also when neither is. Not when a stop is requested.
    void setEnded(std::function<void(bool succeeded)> ended) { m_ended = std::move(ended); }
    /// The request changes something although it has no body.
    void setChangesSomething(bool changes) { m_changesSomething = changes; }
    /// The request goes to the saved account, even while another one is in use.
    void setTriesSavedAccount(bool tries) { m_triesSavedAccount = tries; }

    /// What the operation works with; before `main`, on the worker thread.
    void attach(QuillonApi& api, HttpClient& http, std::stop_token stop);
    /// The whole of it. Nothing is sent, and nobody told, once a stop is requested.
    virtual void main();

    /// Bytes of the largest reply so far.
    qsizetype largestReply() const { return m_largestReply; }

protected:
    void waitForThrottle();
    void notifyComplete();
    virtual void makeRequest();
    void makeRequestWithPostData(const std::optional<QByteArray>& postData);

    void setUpHeaders(HttpRequest& request) const;
    void setUpAuthentication(HttpRequest& request) const;
    /// Sends. The first attempt of every request with its own reply goes through here.
    virtual HttpReply doRequest(const HttpRequest& request);

    /// A null `body` is one that is no UTF-8.
    static bool isAuthenticationError(const QByteArray& body);
    /// Whether the service failed, with the reason if it gave one.
    static bool isApplicationError(const QByteArray& body, int withStatus, std::optional<Error>& error);
    virtual void processResponse(const HttpReply& response);
    /// Gives the body up as soon as it is read: with a large one much depends on that.
    virtual bool parseWithTarget(QByteArray body);

    HttpRequest request(const QString& path, const std::optional<QByteArray>& postData) const;
    /// Waits and repeats the request if the service asks for patience. False when stopped.
    bool retryIfUnavailable(const HttpRequest& request, HttpReply& reply);
    static std::optional<qint64> cacheVersion(const HttpReply& response);
    /// Null where there is no coordinator.
    store::Context* managedObjectContext();
    void parseIntoCompany(QByteArray body);
    const settings::Credentials& credentials() const { return m_snapshot; }
    model::XmlImport target() const { return m_target; }
    bool isStopped() const { return m_stop.stop_requested(); }

    /// Calls on the notification delegate, if one is set.
    void tellDelegate(std::function<void(OutcomeReceiver&)> outcome);
    void tellSuccess();
    void tellFailure(const std::optional<Error>& error);

private:
    void tellEnded(bool succeeded);

    const QString m_url;
    const std::optional<QByteArray> m_postData;
    const settings::QuillonPreferences& m_credentials;
    settings::Credentials m_snapshot; ///< as they were when the operation started
    const model::XmlImport m_target;
    ReceiverHandle m_notificationDelegate;
    SuccessSelector m_notificationSelector;
    FailureSelector m_errorNotificationSelector;
    std::function<void(bool)> m_ended; ///< empty once it was told
    std::unique_ptr<store::Context> m_managedObjectContext;
    QuillonApi* m_mergeDelegate = nullptr;
    QByteArray m_httpMethod;
    bool m_changesSomething = false;
    bool m_triesSavedAccount = false;
    qsizetype m_largestReply = 0;
    QuillonApi* m_api = nullptr;
    HttpClient* m_http = nullptr;
    std::stop_token m_stop;
};

} // namespace service
