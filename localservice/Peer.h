#pragma once

#include <string>

namespace localservice {

/// Whether it is an address in numbers: "192.0.2.7", "2001:db8::7".
bool isNumericAddress(const std::string& text);

/// An address as it stands in a URL: that of IPv6 in brackets.
std::string urlHost(const std::string& numeric);

/// The network that a numeric address is counted with: itself, or the 64 bits of IPv6 that one client mostly has whole.
std::string networkOf(const std::string& peer);

} // namespace localservice
