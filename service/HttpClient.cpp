#include "HttpClient.h"

#include "CurlLibrary.h"

#include "platform/LoopbackNames.h"
#include "platform/Proxies.h"

#include <QCoreApplication>
#include <QString>

#include <algorithm>

namespace service {

using namespace Qt::StringLiterals;
using Steady = std::chrono::steady_clock;

namespace {

constexpr int MostRedirects = 5;
constexpr int ProxyAuthenticationRequired = 407;

// A script for automatic configuration that has not been fetched by then is out of reach, as it is at home.
constexpr std::chrono::milliseconds LongestProxyLookUp{5000};

/// Only for code reached after `CurlLibrary::load`.
constexpr auto Curl = CurlLibrary::get;

template <auto function>
struct FreeBy
{
    template <class T>
    void operator()(T* object) const
    {
        (Curl().*function)(object);
    }
};
using Url = std::unique_ptr<CURLU, FreeBy<&CurlLibrary::url_cleanup>>;
using HeaderList = std::unique_ptr<curl_slist, FreeBy<&CurlLibrary::slist_free_all>>;

QString tr(const char* text)
{
    return QCoreApplication::translate("HttpClient", text);
}

QString sentence(CURLcode code)
{
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return tr("The address of the service was not found.");
    case CURLE_COULDNT_RESOLVE_PROXY:
        return tr("The address of the proxy was not found.");
    case CURLE_PROXY:
        return tr("The proxy refused the connection to the service.");
    case CURLE_COULDNT_CONNECT:
        return tr("The service could not be reached.");
    case CURLE_OPERATION_TIMEDOUT:
        return tr("The service took too long to answer.");
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
        return tr("The connection to the service was lost.");
    case CURLE_SSL_CONNECT_ERROR:
        return tr("A secure connection to the service could not be made.");
    case CURLE_PEER_FAILED_VERIFICATION:
        return tr("The service could not prove its identity.");
    case CURLE_TOO_MANY_REDIRECTS:
        return tr("The service redirected the request too often.");
    case CURLE_UNSUPPORTED_PROTOCOL:
        return tr("The service redirected the request to an address that is not safe.");
    case CURLE_FILESIZE_EXCEEDED:
        return tr("The answer of the service is too large.");
    case CURLE_URL_MALFORMAT:
        return tr("The address of the service is not valid.");
    case CURLE_FAILED_INIT:
        return tr("The program is not completely installed: libcurl is missing.");
    default:
        return QString::fromUtf8(Curl().easy_strerror(code));
    }
}

Error error(CURLcode code)
{
    return {HttpErrorDomain, code, sentence(code), {}};
}

/// A password that is missing, or wrong.
Error passwordWanted()
{
    return {HttpErrorDomain,
            CURLE_PROXY,
            tr("The network's proxy asks for a name and a password that Quillon does not have."),
            {}};
}

/// What decides whether a redirect may be followed and credentials sent along, and which proxy is used.
struct Origin
{
    QByteArray scheme;
    QByteArray host;
    int port = 0;

    static std::optional<Origin> of(const QByteArray& address)
    {
        const Url url(Curl().url());
        if (Curl().url_set(url.get(), CURLUPART_URL, address.constData(), 0) != CURLUE_OK)
            return std::nullopt;
        const auto part = [&url](CURLUPart which) {
            char* text = nullptr;
            Curl().url_get(url.get(), which, &text, CURLU_DEFAULT_PORT);
            const std::unique_ptr<char, FreeBy<&CurlLibrary::free>> owner(text);
            return QByteArray(text).toLower();
        };
        return Origin{part(CURLUPART_SCHEME), part(CURLUPART_HOST), part(CURLUPART_PORT).toInt()};
    }

    bool isSecure() const { return scheme == "https"; }
    QByteArray hostAndPort() const { return host + ':' + QByteArray::number(port); }
    QByteArray address() const { return scheme + "://" + hostAndPort() + '/'; }

    /// The same host, or the same host's secure side.
    bool mayHaveCredentialsOf(const Origin& first) const
    {
        if (host != first.host)
            return false;
        return (scheme == first.scheme && port == first.port) || (isSecure() && port == 443 && first.port == 80);
    }
};

HeaderList headersOf(const HttpRequest& request, bool withAuthorization)
{
    HeaderList headers;
    const auto add = [&headers](const QByteArray& line) {
        if (curl_slist* longer = Curl().slist_append(headers.get(), line.constData())) {
            static_cast<void>(headers.release());
            headers.reset(longer);
        }
    };
    for (const auto& [name, value] : request.headers)
        add(name + ": " + value);
    if (withAuthorization && !request.authorization->isNull())
        add(*platform::Secret<QByteArray>("Authorization: " + *request.authorization));
    add("Expect:"); // do not wait for a "100 Continue" that some servers never send
    return headers;
}

/// Whether the environment has a proxy for addresses of that scheme; it may except the host.
bool environmentNamesProxy(const QByteArray& scheme)
{
    // As the library reads them: of http_proxy only the small form.
    QByteArrayList names{scheme + "_proxy", "all_proxy", "ALL_PROXY"};
    if (scheme == "https")
        names << "HTTPS_PROXY";
    return std::ranges::any_of(names, [](const QByteArray& name) { return !qEnvironmentVariableIsEmpty(name); });
}

} // namespace

/// Collects the body of a reply.
struct HttpClient::Sink
{
    const qsizetype limit;
    QByteArray body = {};
    bool tooLarge = false;

    /// The library's callback for each piece.
    static size_t take(char* data, size_t, size_t size, void* where)
    {
        auto& [limit, body, tooLarge] = *static_cast<Sink*>(where);
        const auto count = static_cast<qsizetype>(size);
        tooLarge = body.size() + count > limit;
        if (tooLarge)
            return 0;
        body.append(data, count);
        return size;
    }
};

/// One hop of a request.
struct HttpClient::Exchange
{
    const HttpRequest& request;
    QByteArray url;
    Origin origin;
    Steady::time_point deadline;
    bool hasAuthorization = true; ///< allowed, if the request permits it
    QByteArray& redirect;         ///< where the reply redirects to
    /// Empty: none. Absent: the environment's.
    std::optional<QByteArray> proxy = {};

    std::chrono::milliseconds timeLeft() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Steady::now());
    }
    Error error(CURLcode code, long connectStatus) const;
};

Error HttpClient::Exchange::error(CURLcode code, long connectStatus) const
{
    if (connectStatus == ProxyAuthenticationRequired)
        return passwordWanted();
    if (connectStatus >= 300) {
        return {HttpErrorDomain,
                CURLE_PROXY,
                tr("The proxy refused the connection to the service with status %1.").arg(connectStatus),
                {}};
    }
    Error error = service::error(code);
    if (code != CURLE_COULDNT_CONNECT)
        return error;
    if (const auto at = proxy && !proxy->isEmpty() ? Origin::of(*proxy) : std::nullopt)
        error.localizedDescription = tr("The proxy %1 could not be reached.").arg(QString::fromUtf8(at->hostAndPort()));
    else if (!proxy && environmentNamesProxy(origin.scheme))
        error.localizedDescription =
            tr("The service, or the proxy that the environment names for it, could not be reached.");
    return error;
}

/// The library's handles, which keep the connections from one request to the next.
class HttpClient::Handles
{
public:
    Handles() : m_multi(Curl().multi_init()), m_easy(Curl().easy_init()) {}

    /// Resets what was set before.
    void setUp(const Exchange& exchange, const curl_slist* headers, Sink& sink);
    CURLcode perform(const std::stop_token& stop);
    void takeReply(HttpReply& reply, QByteArray& redirect) const;
    /// How a proxy has answered the request for a connection; 0: none was asked.
    long connectStatus() const;

private:
    std::unique_ptr<CURLM, FreeBy<&CurlLibrary::multi_cleanup>> m_multi;
    std::unique_ptr<CURL, FreeBy<&CurlLibrary::easy_cleanup>> m_easy;
};

std::optional<QByteArray> HttpReply::header(const QByteArray& name) const
{
    const auto found = std::find_if(headers.rbegin(), headers.rend(), [&name](const auto& header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found != headers.rend() ? std::optional(found->second) : std::nullopt;
}

HttpClient::HttpClient(std::chrono::milliseconds timeout, qsizetype limit) : m_timeout(timeout), m_limit(limit) {}

HttpClient::~HttpClient() = default;

HttpReply HttpClient::send(const HttpRequest& request, const std::stop_token& stop)
{
    const auto failed = [](Error why) {
        HttpReply reply;
        reply.error = std::move(why);
        return reply;
    };
    const auto fail = [&failed](CURLcode code) { return failed(error(code)); };
    if (!CurlLibrary::load())
        return fail(CURLE_FAILED_INIT);
    if (!m_handles)
        m_handles = std::make_unique<Handles>();

    const std::optional<Origin> first = Origin::of(request.url);
    if (!first)
        return fail(CURLE_URL_MALFORMAT);
    QByteArray redirect;
    Exchange exchange{.request = request,
                      .url = request.url,
                      .origin = *first,
                      .deadline = Steady::now() + m_timeout,
                      .redirect = redirect};

    // Redirects are followed here because the library cannot be restricted to https once it has been used.
    for (int redirects = 0;; ++redirects) {
        HttpReply reply = sendByBestProxy(exchange, stop);
        const bool leadsOn = reply.status == 301 || reply.status == 302 || reply.status == 303 || reply.status == 307 ||
                             reply.status == 308;
        if (reply.error || !leadsOn)
            return reply;
        // Whether it was carried out is unknown, and its content is none of another host's business.
        if (request.mayChangeSomething())
            return failed({HttpErrorDomain,
                           CURLE_TOO_MANY_REDIRECTS,
                           tr("The service redirected the request to another address."),
                           {}});
        if (redirect.isEmpty())
            return reply;
        if (redirects == MostRedirects)
            return fail(CURLE_TOO_MANY_REDIRECTS);
        const std::optional<Origin> next = Origin::of(redirect);
        if (!next || (next->scheme != "http" && next->scheme != "https") ||
            (exchange.origin.isSecure() && !next->isSecure()))
            return fail(CURLE_UNSUPPORTED_PROTOCOL);
        if (!next->mayHaveCredentialsOf(*first))
            exchange.hasAuthorization = false;
        exchange.url = redirect;
        exchange.origin = *next;
    }
}

HttpReply HttpClient::sendByBestProxy(Exchange& exchange, const std::stop_token& stop)
{
    std::vector<QByteArray> proxies{""};
    if (!platform::isLoopbackName(QString::fromUtf8(exchange.origin.host)))
        proxies = platform::proxiesOfTheDesktop(exchange.origin.address(),
                                                std::min(exchange.timeLeft(), LongestProxyLookUp), stop);
    std::size_t next = 0;
    for (;;) {
        exchange.proxy = next < proxies.size() ? std::optional(proxies[next]) : std::nullopt;
        HttpReply reply = sendOnce(exchange, stop);
        // Only where nothing was sent yet: never twice.
        const bool isOutOfReach = reply.error && (reply.error->code == CURLE_COULDNT_CONNECT ||
                                                  reply.error->code == CURLE_COULDNT_RESOLVE_PROXY);
        if (!isOutOfReach || ++next >= proxies.size())
            return reply;
    }
}

HttpReply HttpClient::sendOnce(const Exchange& exchange, const std::stop_token& stop)
{
    HttpReply reply;
    if (exchange.timeLeft().count() <= 0) {
        reply.error = error(CURLE_OPERATION_TIMEDOUT);
        return reply;
    }
    const HeaderList headers = headersOf(exchange.request, exchange.hasAuthorization);
    Sink sink{m_limit};
    m_handles->setUp(exchange, headers.get(), sink);
    CURLcode code = m_handles->perform(stop);
    m_handles->takeReply(reply, exchange.redirect);
    if (sink.tooLarge || code == CURLE_FILESIZE_EXCEEDED)
        code = CURLE_FILESIZE_EXCEEDED;
    else if (reply.status != ProxyAuthenticationRequired)
        reply.body = std::move(sink.body);
    if (code != CURLE_OK)
        reply.error = exchange.error(code, m_handles->connectStatus());
    else if (reply.status == ProxyAuthenticationRequired)
        reply.error = passwordWanted(); // and what the proxy says is not the service's word
    return reply;
}

void HttpClient::Handles::setUp(const Exchange& exchange, const curl_slist* headers, Sink& sink)
{
    CURL* easy = m_easy.get();
    const auto set = [easy](CURLoption option, auto value) { Curl().easy_setopt(easy, option, value); };
    Curl().easy_reset(easy); // keeps the connections
    set(CURLOPT_URL, exchange.url.constData());
    set(CURLOPT_HTTPHEADER, headers);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}); // later ones repeat refused requests by themselves
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(exchange.timeLeft().count()));
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L); // stopping does not wait for the name look-up
    set(CURLOPT_FRESH_CONNECT, long{exchange.request.mayChangeSomething()});
    set(CURLOPT_MAXFILESIZE_LARGE, curl_off_t{sink.limit});
    set(CURLOPT_WRITEDATA, static_cast<void*>(&sink));
    set(CURLOPT_WRITEFUNCTION, &Sink::take);
    // The usual way to name one's own certificates; the library by itself uses only the system's.
    if (const QByteArray certificates = qgetenv("SSL_CERT_FILE"); !certificates.isEmpty())
        set(CURLOPT_CAINFO, certificates.constData());
    if (exchange.proxy) {
        set(CURLOPT_PROXY, exchange.proxy->constData());
        set(CURLOPT_NOPROXY, ""); // the environment's exceptions are for its own
    }
    if (const HttpRequest& request = exchange.request; request.body) {
        set(CURLOPT_POSTFIELDS, request.body->constData());
        set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{request.body->size()});
        if (request.method != "POST")
            set(CURLOPT_CUSTOMREQUEST, request.method.constData());
    }
}

CURLcode HttpClient::Handles::perform(const std::stop_token& stop)
{
    CURLM* multi = m_multi.get();
    Curl().multi_add_handle(multi, m_easy.get());
    const std::stop_callback wakeUp(stop, [multi] { Curl().multi_wakeup(multi); });
    for (int running = 1; !stop.stop_requested();) {
        Curl().multi_perform(multi, &running);
        if (running == 0)
            break;
        Curl().multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
    CURLcode code = CURLE_ABORTED_BY_CALLBACK;
    int left = 0;
    while (const CURLMsg* message = Curl().multi_info_read(multi, &left)) {
        if (message->msg == CURLMSG_DONE)
            code = message->data.result;
    }
    return code;
}

long HttpClient::Handles::connectStatus() const
{
    long status = 0;
    Curl().easy_getinfo(m_easy.get(), CURLINFO_HTTP_CONNECTCODE, &status);
    return status;
}

void HttpClient::Handles::takeReply(HttpReply& reply, QByteArray& redirect) const
{
    CURL* easy = m_easy.get();
    long status = 0;
    Curl().easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    curl_header* header = nullptr;
    while ((header = Curl().easy_nextheader(easy, CURLH_HEADER, -1, header)))
        reply.headers.emplace_back(header->name, header->value);
    char* address = nullptr;
    Curl().easy_getinfo(easy, CURLINFO_REDIRECT_URL, &address);
    redirect = address;
    Curl().multi_remove_handle(m_multi.get(), easy);
}

} // namespace service
