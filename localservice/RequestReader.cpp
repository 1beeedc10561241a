#include "RequestReader.h"

#include "Credentials.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <optional>

namespace localservice {

namespace {

constexpr std::size_t longestHead = 64 * 1024;
constexpr std::size_t longestRequestLine = 8 * 1024;
constexpr std::size_t longestBody = 1024 * 1024;
// A body in chunks of a byte or two is no use to anybody.
constexpr std::size_t longestFrames = 1024 * 1024;

using namespace std::string_view_literals;

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> others)
{
    return std::find(others.begin(), others.end(), text) != others.end();
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// A sign of a token (RFC 9110, section 5.6.2).
bool isTokenSign(char c)
{
    return isDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           "!#$%&'*+-.^_`|~"sv.find(c) != std::string_view::npos;
}

bool isToken(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenSign);
}

/// No control character may stand in a value: what begins a line for one reader does not for another.
bool isFieldText(std::string_view text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c == '\t' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7f'); });
}

bool isTarget(std::string_view text)
{
    return text.starts_with('/') && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

/// Whether it can be host and port (RFC 3986, section 3.2.2), of which the first label is an account.
bool isHost(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) {
        return c > ' ' && c < '\x7f' && "/?#@\\\"<>^`{|}"sv.find(c) == std::string_view::npos;
    });
}

std::string_view trimmed(std::string_view text)
{
    const auto first = std::min(text.find_first_not_of(" \t"), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

/// A number of digits alone: no sign, no blank, no prefix.
std::optional<std::size_t> numberIn(std::string_view text, int base)
{
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::size_t count(const Headers& headers, std::string_view name)
{
    return static_cast<std::size_t>(std::count_if(headers.begin(), headers.end(),
                                                  [&](const auto& header) { return isSameName(header.first, name); }));
}

/// Whether a list of words, in one header or in several, has this one.
bool lists(const Headers& headers, std::string_view name, std::string_view word)
{
    return std::any_of(headers.begin(), headers.end(), [&](const auto& header) {
        if (!isSameName(header.first, name))
            return false;
        std::string_view rest = header.second;
        while (!rest.empty()) {
            const auto end = std::min(rest.find(','), rest.size());
            if (isSameName(trimmed(rest.substr(0, end)), word))
                return true;
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        return false;
    });
}

} // namespace

RequestReader::State RequestReader::read(std::string_view& input)
{
    while (!input.empty() && m_part < Part::Complete) {
        if (m_part == Part::Data || m_part == Part::Chunk)
            takeData(input);
        else
            takeLine(input);
    }
    if (m_part >= Part::Complete)
        return m_part == Part::Complete ? State::Complete : State::Refused;
    return m_part <= Part::Fields ? State::Head : State::Body;
}

void RequestReader::takeData(std::string_view& input)
{
    const auto size = std::min(m_rest, input.size());
    m_request.body.append(input.substr(0, size));
    input.remove_prefix(size);
    m_rest -= size;
    if (m_rest == 0)
        m_part = m_part == Part::Data ? Part::Complete : Part::ChunkEnd;
}

void RequestReader::takeLine(std::string_view& input)
{
    const auto end = input.find('\n');
    const auto size = end == std::string_view::npos ? input.size() : end + 1;
    m_line.append(input.substr(0, size));
    input.remove_prefix(size);
    m_overhead += size;
    if (m_part == Part::RequestLine && m_line.size() > longestRequestLine)
        m_part = refuse(414);
    else if (m_overhead > (m_part <= Part::Fields ? longestHead : longestHead + longestFrames))
        m_part = refuse(400);
    else if (end != std::string_view::npos) {
        const std::string_view line = m_line;
        m_part = line.ends_with("\r\n") ? next(line.substr(0, line.size() - 2)) : refuse(400);
        wipe(m_line);
    }
}

RequestReader::Part RequestReader::next(std::string_view line)
{
    switch (m_part) {
    case Part::RequestLine:
        return readRequestLine(line);
    case Part::Fields:
        return line.empty() ? endHead() : readField(line);
    case Part::ChunkSize:
        return readChunkSize(line);
    case Part::ChunkEnd:
        return line.empty() ? Part::ChunkSize : refuse(400);
    default:
        return line.empty() ? Part::Complete : readField(line);
    }
}

RequestReader::Part RequestReader::readRequestLine(std::string_view line)
{
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    if (first == last)
        return refuse(400);
    m_request.method = line.substr(0, first);
    m_request.target = line.substr(first + 1, last - first - 1);
    const auto version = line.substr(last + 1);
    // Older clients do not say that they will send no more, and know of no chunks.
    m_isLast = version == "HTTP/1.0";
    const bool known = isOneOf(m_request.method, {"GET", "HEAD", "POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE"});
    return known && isTarget(m_request.target) && (m_isLast || version == "HTTP/1.1") ? Part::Fields : refuse(400);
}

RequestReader::Part RequestReader::readField(std::string_view line)
{
    const auto colon = std::min(line.find(':'), line.size());
    const auto name = line.substr(0, colon);
    const auto value = trimmed(line.substr(std::min(colon + 1, line.size())));
    // A name that is a token has no blank before the colon, and is not the rest of the line before.
    if (colon == line.size() || !isToken(name) || !isFieldText(value))
        return refuse(400);
    if (m_part == Part::Fields)
        m_request.headers.emplace_back(name, value);
    // What comes after a body could change what was understood before it; nobody here needs it.
    return m_part;
}

RequestReader::Part RequestReader::endHead()
{
    const auto& headers = m_request.headers;
    const auto lengths = count(headers, "content-length");
    const auto codings = count(headers, "transfer-encoding");
    const auto length = numberIn(m_request.header("Content-Length"), 10);
    const bool older = m_isLast;
    m_isLast = older || lists(headers, "connection", "close");
    if (lengths + codings > 1 || count(headers, "host") > 1 || !isHost(m_request.header("Host")))
        return refuse(400);
    if (lengths == 1 && !length) {
        const auto text = m_request.header("Content-Length");
        // More than a number can hold is too long as well.
        return refuse(!text.empty() && std::all_of(text.begin(), text.end(), isDigit) ? 413 : 400);
    }
    if (codings == 1 && (older || !isSameName(m_request.header("Transfer-Encoding"), "chunked")))
        return refuse(400);
    if (count(headers, "content-encoding") > 0)
        return refuse(415);
    if (m_request.method == "TRACE")
        return refuse(405);
    if (length.value_or(0) > longestBody)
        return refuse(413);
    if (isOneOf(m_request.method, {"POST", "PUT", "PATCH"})
            ? lengths + codings == 0
            : m_request.method != "DELETE" && (length.value_or(0) > 0 || codings > 0))
        return refuse(lengths + codings == 0 ? 411 : 400);
    const auto expected = m_request.header("Expect");
    const bool isKnown = isSameName(expected, "100-continue");
    if (!expected.empty() && !isKnown)
        return refuse(417);
    // An older client would take it for the reply.
    m_awaitsContinue = isKnown && !older;
    m_rest = length.value_or(0);
    return codings > 0 ? Part::ChunkSize : m_rest > 0 ? Part::Data : Part::Complete;
}

RequestReader::Part RequestReader::readChunkSize(std::string_view line)
{
    const auto end = std::min(line.find(';'), line.size());
    const auto size = numberIn(line.substr(0, end), 16);
    if (!size || !isFieldText(line.substr(end)))
        return refuse(400);
    if (*size > longestBody - m_request.body.size())
        return refuse(413);
    m_rest = *size;
    return m_rest > 0 ? Part::Chunk : Part::Trailers;
}

RequestReader::Part RequestReader::refuse(int status)
{
    m_refusal = status;
    m_isLast = true;
    return Part::Refused;
}

} // namespace localservice
