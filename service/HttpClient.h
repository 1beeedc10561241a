#pragma once

#include "platform/Secret.h"
#include "service/QuillonError.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>
#include <vector>

namespace service {

using HttpHeaders = std::vector<std::pair<QByteArray, QByteArray>>;

struct HttpRequest
{
    QByteArray url;
    /// Of a request with a body. One without is always a GET.
    QByteArray method = "GET";
    HttpHeaders headers; ///< sent in this order
    /// Of a header of that name, which comes last; none when null.
    platform::Secret<QByteArray> authorization = {};
    std::optional<QByteArray> body;
    /// Set for a request without a body that still changes something.
    bool changesSomething = false;

    /// Then sending it twice may do harm. It follows no redirect and never goes over a reused connection: one that died
    /// unnoticed would lose the request, and the library would silently repeat it.
    bool mayChangeSomething() const { return changesSomething || body.has_value(); }
};

/// What came back, if anything.
struct HttpReply
{
    int status = 0; ///< 0: no answer at all
    HttpHeaders headers;
    QByteArray body;
    /// The exchange failed on the way. Status and body are then what had arrived by that time.
    std::optional<Error> error;

    /// The last header of that name, in whatever case; empty when there is none.
    std::optional<QByteArray> header(const QByteArray& name) const;
};

/// The errors of an exchange. Their codes are those of libcurl (curl/curl.h, CURLcode).
inline constexpr QLatin1StringView HttpErrorDomain("QuillonHttpErrorDomain");
/// A proxy wants a password, or has refused the connection.
inline constexpr int ProxyErrorCode = 97;

/// Sends one request at a time and waits for the reply.
///
/// A request that only reads follows up to five redirects, never from https to http, with the authorization for the
/// first host only; for one that may change something a redirect is an error. Certificates are verified, against those
/// of the system or of the environment (SSL_CERT_FILE). The proxy is the first within reach of those that the desktop's
/// settings name, or the environment's where they name none (http_proxy and its kin), but a loopback host is never
/// reached through a proxy. No cookies, no cache. Used on one thread, which may wait.
class HttpClient
{
public:
    static constexpr qsizetype LargestBody = qsizetype{64} * 1024 * 1024;

    /// `timeout` is for the whole exchange, redirects included. A reply with a larger body than `limit` is an error.
    explicit HttpClient(std::chrono::milliseconds timeout = std::chrono::seconds(20), qsizetype limit = LargestBody);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /// Aborts at once, with an error, when `stop` is requested.
    HttpReply send(const HttpRequest& request, const std::stop_token& stop);

private:
    struct Sink;
    struct Exchange;
    class Handles;

    HttpReply sendByBestProxy(Exchange& exchange, const std::stop_token& stop);
    HttpReply sendOnce(const Exchange& exchange, const std::stop_token& stop);

    const std::chrono::milliseconds m_timeout;
    const qsizetype m_limit;
    std::unique_ptr<Handles> m_handles; ///< made by the first request
};

} // namespace service
