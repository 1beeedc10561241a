#include "Peer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <cstring>
#include <netinet/in.h>

namespace localservice {

std::string numericAddress(const sockaddr_storage& address)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.ss_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, &address, sizeof four);
        ::inet_ntop(AF_INET, &four.sin_addr, text.data(), text.size());
    } else if (address.ss_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, &address, sizeof six);
        // A socket for both versions shows the fourth in the clothes of the sixth.
        if (IN6_IS_ADDR_V4MAPPED(&six.sin6_addr))
            ::inet_ntop(AF_INET, &six.sin6_addr.s6_addr[12], text.data(), text.size());
        else
            ::inet_ntop(AF_INET6, &six.sin6_addr, text.data(), text.size());
    }
    return text.data();
}

socklen_t socketAddress(const std::string& numeric, std::uint16_t port, sockaddr_storage& address)
{
    address = {};
    auto* four = reinterpret_cast<sockaddr_in*>(&address);
    if (::inet_pton(AF_INET, numeric.c_str(), &four->sin_addr) == 1) {
        four->sin_family = AF_INET;
        four->sin_port = htons(port);
        return sizeof *four;
    }
    auto* six = reinterpret_cast<sockaddr_in6*>(&address);
    if (::inet_pton(AF_INET6, numeric.c_str(), &six->sin6_addr) == 1) {
        six->sin6_family = AF_INET6;
        six->sin6_port = htons(port);
        return sizeof *six;
    }
    return 0;
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
