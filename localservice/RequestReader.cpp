#include "RequestReader.h"

#include "Credentials.h"

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <algorithm>
#include <initializer_list>
#include <openssl/crypto.h>

namespace localservice {

namespace {

namespace http = boost::beast::http;
using boost::beast::error_code;

constexpr std::size_t LongestHead = 64UL * 1024;
constexpr std::size_t LongestRequestLine = 8UL * 1024;
constexpr std::size_t LongestBody = 1024UL * 1024;
constexpr std::size_t LongestUpload = 64 * LongestBody;
// A legitimate client does not send chunks of a byte or two.
constexpr std::size_t LongestFrames = 1024UL * 1024;

using namespace std::string_view_literals;

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> others)
{
    return std::find(others.begin(), others.end(), text) != others.end();
}

bool isTarget(std::string_view text)
{
    return text.starts_with('/') &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f' && c != '#'; });
}

/// Whether it can be host and port (RFC 3986, section 3.2.2), of which the first label is an account.
bool isHost(std::string_view text)
{
    const bool hasBrackets = text.starts_with('['); // around an address of version 6
    const auto end = std::min(hasBrackets ? text.find(']') + 1 : text.find(':'), text.size());
    const auto port = text.substr(end);
    const auto name = hasBrackets && end > 0 ? text.substr(1, end - 2) : text.substr(0, end);
    const bool isPort = port.empty() || (port.front() == ':' && port.find_first_not_of("0123456789", 1) == port.npos);
    return isPort && std::all_of(name.begin(), name.end(), [](char c) {
               return c > ' ' && c < '\x7f' && "/?#@\\\"<>[]^`{|},"sv.find(c) == std::string_view::npos;
           });
}

/// The library accepts anything in quotes, but other readers may see the end of a line in it.
void refuseControls(std::uint64_t, boost::beast::string_view extensions, error_code& error)
{
    if (std::any_of(extensions.begin(), extensions.end(),
                    [](char c) { return (c >= 0 && c < ' ' && c != '\t') || c == '\x7f'; }))
        error = http::error::bad_chunk_extension;
}

std::size_t count(const Headers& headers, std::string_view name)
{
    return static_cast<std::size_t>(std::count_if(headers.begin(), headers.end(),
                                                  [&](const auto& header) { return isSameName(header.first, name); }));
}

/// The library keeps the headers in memory of its own, credentials among them.
template <typename T>
struct WipingAllocator : std::allocator<T>
{
    WipingAllocator() = default;
    template <typename Other>
    WipingAllocator(const WipingAllocator<Other>&)
    {
    }
    void deallocate(T* memory, std::size_t size)
    {
        OPENSSL_cleanse(memory, size * sizeof(T));
        std::allocator<T>::deallocate(memory, size);
    }
};

} // namespace

class RequestReader::Parser final : public http::parser<true, http::string_body, WipingAllocator<char>>
{
};

RequestReader::RequestReader() : m_parser(std::make_unique<Parser>())
{
    m_parser->header_limit(LongestHead);
    m_parser->body_limit(LongestUpload);
    m_parser->on_chunk_header(refuseControls);
}

RequestReader::~RequestReader()
{
    forget();
}

void RequestReader::forget()
{
    for (auto& [name, value] : m_request.headers)
        wipe(value);
    wipe(m_request.body);
    wipe(m_parser->get().body());
}

RequestReader::State RequestReader::read(std::string& input)
{
    std::size_t taken = m_parser->is_header_done() ? 0 : readHead(input);
    if (m_parser->is_header_done() && m_refusal == 0)
        taken += readBody(std::string_view(input).substr(taken));
    if (taken > 0) {
        std::string rest(input, taken);
        wipe(input);
        input = std::move(rest);
    }
    if (m_refusal != 0)
        return State::Refused;
    return m_parser->is_done() ? State::Complete : m_parser->is_header_done() ? State::Body : State::Head;
}

/// The size of the head with its blank line; 0 until that has arrived. The library unfolds lines, and readers differ in
/// how they treat malformed line breaks: such heads are rejected as they arrive.
std::size_t RequestReader::endOfHead(const std::string& input)
{
    for (auto end = input.find('\n', m_line); end != std::string::npos; end = input.find('\n', m_line)) {
        const auto line = std::string_view(input).substr(m_line, end - m_line);
        if (!line.ends_with('\r') || line.starts_with(' ') || line.starts_with('\t'))
            refuse(400);
        if (m_line == 0 && line.size() > LongestRequestLine)
            refuse(414);
        m_line = end + 1;
        if (m_refusal != 0 || line == "\r")
            return m_line;
    }
    if (m_line == 0 && input.size() > LongestRequestLine)
        refuse(414);
    return 0;
}

std::size_t RequestReader::readHead(const std::string& input)
{
    const auto size = endOfHead(input);
    if (m_refusal == 0 && (size > 0 ? size : input.size()) > LongestHead)
        refuse(400);
    if (m_refusal != 0 || size == 0)
        return 0;
    error_code error;
    m_parser->put(boost::asio::buffer(input.data(), size), error);
    const auto& head = m_parser->get();
    m_isOlder = head.version() < 11;
    m_request.method = std::string_view(head.method_string().data(), head.method_string().size());
    m_request.target = std::string_view(head.target().data(), head.target().size());
    for (const auto& field : head)
        m_request.headers.emplace_back(field.name_string(), field.value());
    if (error)
        refuse(error == http::error::body_limit ? 413 : 400);
    else if (const int status = reasonToRefuse(); status != 0)
        refuse(status);
    // Older clients do not announce that they have finished sending, and would take the go-ahead for the reply.
    m_isUpload = m_refusal == 0 && m_parser->content_length().value_or(0) > LongestBody;
    if (!m_isUpload)
        m_parser->body_limit(LongestBody); // in chunks, too
    m_isLast = m_isLast || m_isOlder || !m_parser->keep_alive();
    m_awaitsContinue = !m_isOlder && !m_request.header("Expect").empty();
    return size;
}

/// Checks a readable head for what is not allowed here; 0 for nothing.
int RequestReader::reasonToRefuse() const
{
    const auto& headers = m_request.headers;
    const auto hosts = count(headers, "host");
    const auto length = m_request.header("Content-Length");
    const auto lengths = count(headers, "content-length");
    const auto codings = count(headers, "transfer-encoding");
    if (!isOneOf(m_request.method, {"GET", "HEAD", "POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE"}) ||
        !isTarget(m_request.target) || hosts > 1 || (hosts == 0 && !m_isOlder) || !isHost(m_request.header("Host")))
        return 400;
    if (lengths + codings > 1 || length.find_first_not_of("0123456789") != std::string_view::npos)
        return 400;
    if (codings == 1 && (m_isOlder || !isSameName(m_request.header("Transfer-Encoding"), "chunked")))
        return 400;
    if (count(headers, "content-encoding") > 0)
        return 415;
    if (m_request.method == "TRACE")
        return 405;
    const bool hasBody = codings > 0 || m_parser->content_length().value_or(0) > 0;
    if (isOneOf(m_request.method, {"POST", "PUT", "PATCH"}) && lengths + codings == 0)
        return 411;
    if (isOneOf(m_request.method, {"GET", "HEAD", "OPTIONS"}) && hasBody)
        return 400;
    const auto expected = m_request.header("Expect");
    return expected.empty() || isSameName(expected, "100-continue") ? 0 : 417;
}

std::size_t RequestReader::readBody(std::string_view input)
{
    std::size_t taken = 0;
    error_code error;
    // The least that must still follow in a chunked body; the library mistakes a shorter last chunk for its own error.
    const std::size_t least = m_parser->chunked() ? std::string_view("0\r\n\r\n").size() : 1;
    while (!m_parser->is_done() && input.size() - taken >= least && !error) {
        const auto rest = input.substr(taken);
        const auto size = m_parser->put(boost::asio::buffer(rest.data(), rest.size()), error);
        taken += size;
        // Trailers after a chunked body are not wanted, but have lines like a head's.
        const auto trailers = m_parser->is_done() && m_parser->chunked() ? rest.substr(0, size) : std::string_view{};
        if (trailers.find("\r\n ") != std::string_view::npos || trailers.find("\r\n\t") != std::string_view::npos)
            refuse(400);
    }
    m_sent += taken;
    const bool isIncomplete = error == http::error::need_more;
    if (error == http::error::body_limit)
        refuse(413);
    else if ((error && !isIncomplete) || (!m_isUpload && m_sent > LongestBody + LongestFrames) ||
             (isIncomplete && input.size() - taken > LongestHead))
        refuse(400);
    else if (m_parser->is_done())
        m_request.body = std::move(m_parser->get().body());
    return taken;
}

void RequestReader::allowUpload(bool allowed)
{
    if (!allowed)
        refuse(413);
}

void RequestReader::refuse(int status)
{
    m_refusal = m_refusal ? m_refusal : status;
    m_isLast = true;
}

} // namespace localservice
