#pragma once

#include <optional>
#include <sys/types.h>

namespace localservice {

/// The local user whose program holds the other end of a connected TCP socket, as the kernel says (sock_diag(7), or
/// the tables of proc(5): /proc/net/tcp and tcp6). Nothing when the other end is elsewhere, has begun to close, or belongs to a user without a
/// number of their own here (user_namespaces(7)).
std::optional<uid_t> userAtOtherEnd(int socket);

} // namespace localservice
