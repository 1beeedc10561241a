#include "Peer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdint>

namespace localservice {

bool isNumericAddress(const std::string& text)
{
    in6_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 || ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

std::string urlHost(const std::string& numeric)
{
    return numeric.find(':') == std::string::npos ? numeric : "[" + numeric + "]";
}

std::string networkOf(const std::string& peer)
{
    in6_addr address{};
    if (::inet_pton(AF_INET6, peer.c_str(), &address) != 1)
        return peer;
    std::fill(std::begin(address.s6_addr) + 8, std::end(address.s6_addr), std::uint8_t{0});
    std::array<char, INET6_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET6, &address, text.data(), text.size());
}

} // namespace localservice
