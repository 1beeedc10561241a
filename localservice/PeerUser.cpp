#include "PeerUser.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace localservice {

namespace {

constexpr int Established = 1; // TCP_ESTABLISHED: later on the kernel no longer knows the socket's owner

/// Address and port of one end. IPv4 addresses are mapped to IPv6, as sockets for both are.
struct End
{
    in6_addr address{};
    std::uint16_t port = 0;

    bool operator==(const End& other) const
    {
        return port == other.port && IN6_ARE_ADDR_EQUAL(&address, &other.address);
    }
};

void setMapped(in6_addr& address, const void* four)
{
    address = {};
    address.s6_addr[10] = address.s6_addr[11] = 0xff;
    std::memcpy(&address.s6_addr[12], four, 4);
}

using Name = int (*)(int, sockaddr*, socklen_t*);

std::optional<End> endOf(int socket, Name name)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (name(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return {};
    End end;
    if (address.ss_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, &address, sizeof four);
        setMapped(end.address, &four.sin_addr);
        end.port = ntohs(four.sin_port);
        return end;
    }
    sockaddr_in6 six{};
    std::memcpy(&six, &address, sizeof six);
    end.address = six.sin6_addr;
    end.port = ntohs(six.sin6_port);
    return end;
}

template <typename Number>
std::optional<Number> numberIn(std::string_view text, int base)
{
    Number number{};
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc{} && rest == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// "0100007F:1F90": 32-bit words in this machine's byte order, each in hexadecimal, and the port.
std::optional<End> endIn(std::string_view text)
{
    const auto colon = text.find(':');
    const auto port = colon == 8 || colon == 32 ? numberIn<std::uint16_t>(text.substr(colon + 1), 16) : std::nullopt;
    if (!port)
        return {};
    std::array<std::uint32_t, 4> words{};
    for (std::size_t i = 0; i * 8 < colon; ++i) {
        const auto word = numberIn<std::uint32_t>(text.substr(i * 8, 8), 16);
        if (!word)
            return {};
        words[i] = *word;
    }
    End end{{}, *port};
    if (colon == 8)
        setMapped(end.address, words.data());
    else
        std::memcpy(&end.address, words.data(), sizeof end.address);
    return end;
}

class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return m_number; }

private:
    int m_number;
};

/// The kernel's answer to a question for that one socket. The tables have a line for each connection of the machine,
/// also for those that have ended in the last minute: reading them has taken five milliseconds.
std::optional<uid_t> ownerByDiagnosis(int kernel, const End& own, const End& other)
{
    struct
    {
        nlmsghdr header{};
        inet_diag_req_v2 question{};
    } sent;
    sent.header.nlmsg_len = sizeof sent;
    sent.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    sent.header.nlmsg_flags = NLM_F_REQUEST;
    sent.question.sdiag_family = AF_INET6; // addresses of IPv4 are mapped, and found whichever the socket is for
    sent.question.sdiag_protocol = IPPROTO_TCP;
    sent.question.idiag_states = 1u << Established;
    sent.question.id.idiag_sport = htons(own.port);
    sent.question.id.idiag_dport = htons(other.port);
    std::memcpy(sent.question.id.idiag_src, &own.address, sizeof own.address);
    std::memcpy(sent.question.id.idiag_dst, &other.address, sizeof other.address);
    sent.question.id.idiag_cookie[0] = sent.question.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;

    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    if (::sendto(kernel, &sent, sizeof sent, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0)
        return {};
    alignas(nlmsghdr) std::array<char, 1024> received{};
    socklen_t length = sizeof address;
    const auto size = ::recvfrom(kernel, received.data(), received.size(), MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&address), &length);
    nlmsghdr header{};
    inet_diag_msg found{};
    if (address.nl_pid != 0 || size < static_cast<ssize_t>(NLMSG_LENGTH(sizeof found)))
        return {};
    std::memcpy(&header, received.data(), sizeof header);
    std::memcpy(&found, received.data() + NLMSG_LENGTH(0), sizeof found);
    // Without such a connection it may be the listening socket.
    if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || found.idiag_state != Established ||
        found.id.idiag_sport != htons(own.port) || found.id.idiag_dport != htons(other.port))
        return {};
    return found.idiag_uid;
}

/// The owner of the socket whose own end is `own` and whose other end is `other`.
std::optional<uid_t> ownerIn(const char* table, const End& own, const End& other)
{
    std::ifstream file(table);
    for (std::string line; std::getline(file, line);) {
        std::istringstream columns(line);
        std::array<std::string, 8> column; // sl, local, remote, state, queues, timer, retransmits, uid
        for (auto& text : column)
            columns >> text;
        if (numberIn<int>(column[3], 16) == Established && endIn(column[1]) == own && endIn(column[2]) == other)
            return numberIn<uid_t>(column[7], 10);
    }
    return {};
}

/// In a container, all users unknown to it share one number.
bool isAnybody(uid_t user)
{
    static const uid_t s_overflow = [] {
        uid_t overflow = 65534;
        std::ifstream("/proc/sys/kernel/overflowuid") >> overflow;
        return overflow;
    }();
    if (user != s_overflow)
        return false;
    constexpr std::uint64_t allUsers = 0xffffffff;
    std::uint64_t inside = 0;
    std::uint64_t outside = 0;
    std::uint64_t count = 0;
    std::ifstream("/proc/self/uid_map") >> inside >> outside >> count;
    return count != allUsers;
}

} // namespace

std::optional<uid_t> userAtOtherEnd(int socket)
{
    const auto here = endOf(socket, ::getsockname);
    const auto there = endOf(socket, ::getpeername);
    if (!here || !there)
        return {};
    const Descriptor kernel(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (kernel < 0 && (errno == EMFILE || errno == ENFILE))
        return {}; // nor could a table be opened
    if (const auto owner = ownerByDiagnosis(kernel, *there, *here))
        return isAnybody(*owner) ? std::nullopt : owner;
    // A kernel without that. A browser's socket for both versions of IP is in the second table even when it uses IPv4.
    for (const char* table : {"/proc/self/net/tcp", "/proc/self/net/tcp6"}) {
        if (const auto owner = ownerIn(table, *there, *here))
            return isAnybody(*owner) ? std::nullopt : owner;
    }
    return {};
}

} // namespace localservice
