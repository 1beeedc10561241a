#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace localservice {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// Whether two names are the same in HTTP, which ignores case (ASCII).
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
    /// The local user whose program sent it, if known. Call it before the request is answered; asks the kernel until
    /// that knows.
    std::function<std::optional<uid_t>()> user = {};

    /// The part of `target` before the question mark.
    std::string_view path() const;
    /// The part of `target` after the question mark, empty when there is none.
    std::string_view query() const;
    /// The first header of that name (any case), empty when there is none.
    std::string_view header(std::string_view name) const;
    /// The account that the requested host names: the first label. Empty for a bare loopback address.
    std::string subdomain() const;
};

/// The segments of a path.
std::vector<std::string_view> piecesOf(std::string_view path);

/// The numbers in a path where the route ("/projects/#") has "#"; nothing when the path does not match the route.
std::optional<std::vector<std::int64_t>> numbersIn(std::string_view path, std::string_view route);

/// A reply; its type is XML unless a Content-Type header says otherwise.
struct Reply
{
    int status = 200;
    std::string body = {};
    Headers headers = {};
    /// Makes what follows `body`, a piece at a time, each on a worker once the client has taken those before: so a
    /// large file takes little memory and begins at once. An empty piece is the end; nothing says that it failed, and
    /// ends the connection in the middle. It may outlive the request.
    std::function<std::optional<std::string>()> rest = {};
};

} // namespace localservice
