#pragma once

#include <cstdint>
#include <string>
#include <sys/socket.h>

namespace localservice {

/// A client's address in numbers: "192.0.2.7", "2001:db8::7". Empty for what is no internet address.
std::string numericAddress(const sockaddr_storage& address);

/// The other way; answers its length, 0 when `numeric` is no address.
socklen_t socketAddress(const std::string& numeric, std::uint16_t port, sockaddr_storage& address);

/// An address as it stands in a URL: that of IPv6 in brackets.
std::string urlHost(const std::string& numeric);

/// The network that a numeric address is counted with: itself, or the 64 bits of IPv6 that one client mostly has whole.
std::string networkOf(const std::string& peer);

} // namespace localservice
