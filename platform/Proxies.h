#pragma once

#include <QByteArray>

#include <chrono>
#include <stop_token>
#include <vector>

namespace platform {

/// The proxies that the desktop's settings name for an address, the best first: "http://host:port", "socks5h://…",
/// perhaps with a name and password, as libcurl reads them; an empty one stands for a direct connection. None at all
/// where the settings name none. Automatic configuration may run a script and fetch it first: waits for it, `patience`
/// at the longest, or until `stop`; what has not been found by then counts as none.
///
/// Any thread that may wait.
std::vector<QByteArray> proxiesOfTheDesktop(const QByteArray& url, std::chrono::milliseconds patience,
                                            const std::stop_token& stop);

} // namespace platform
