#pragma once

#include <string>

namespace localservice {

/// Whether it is a numeric address: "192.0.2.7", "2001:db8::7".
bool isNumericAddress(const std::string& text);

/// An address as written in a URL: IPv6 in brackets.
std::string urlHost(const std::string& numeric);

/// The network that a numeric address counts towards: itself, or the 64 bits of IPv6 that one client usually owns.
std::string networkOf(const std::string& peer);

} // namespace localservice
