#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace localservice {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// Whether two names are the same to HTTP: the case of letters does not matter (ASCII).
bool isSameName(std::string_view one, std::string_view other);

/// A request as it arrived: `target` is path and query exactly as sent, `body` the bytes after the header.
struct Request
{
    std::string method;
    std::string target;
    Headers headers;
    std::string body;
    bool secure = false; ///< it came over TLS
    std::string peer;    ///< the client's address, numeric: "192.0.2.7", "2001:db8::7"
    /// The user of this machine whose program sent it, where that can be told. Until the request is answered; asks
    /// the kernel until it tells.
    std::function<std::optional<uid_t>()> user = {};

    /// The part of `target` before the question mark.
    std::string_view path() const;
    /// The part of `target` behind the question mark, empty when there is none.
    std::string_view query() const;
    /// The first header of that name (any case), empty when there is none.
    std::string_view header(std::string_view name) const;
    /// The account that the host asked for stands for: the first label of its name. Empty for a bare loopback address.
    std::string subdomain() const;
    /// The path's pieces between the slashes.
    std::vector<std::string_view> pieces() const;
};

/// What is done to a reply on its way to the client.
enum class Fault
{
    None,
    Close, ///< the connection ends before the first byte
    Hang,  ///< nothing is sent until the client gives up or the service stops
    Drip,  ///< the head at once, then the body byte by byte, `pause` apart
    Cut,   ///< the head announces the whole body, the connection ends after half of it
};

/// An answer. `Reply{502}` and `Reply{200, "<daily/>"}` are enough for most scripts; XML is the type unless a
/// Content-Type header says otherwise.
struct Reply
{
    int status = 200;
    std::string body = {};
    Headers headers = {};
    Fault fault = Fault::None;
    std::chrono::milliseconds pause{0};

    static Reply closed() { return {200, {}, {}, Fault::Close}; }
    static Reply hanging() { return {200, {}, {}, Fault::Hang}; }
    static Reply dripping(std::string body, std::chrono::milliseconds pause)
    {
        return {200, std::move(body), {}, Fault::Drip, pause};
    }
    static Reply cut(std::string body) { return {200, std::move(body), {}, Fault::Cut}; }
    static Reply huge(std::size_t bytes) { return {200, std::string(bytes, ' ')}; }
    static Reply redirect(std::string location, int status = 302)
    {
        return {status, {}, {{"Location", std::move(location)}}};
    }
};

} // namespace localservice
