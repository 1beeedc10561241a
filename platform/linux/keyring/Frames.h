#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What the program and `quillon-keyring` say to each other over a stream socket, the helper's standard input:
/// requests, and an answer to each, in order. A frame is a head and the parts that it announces, one after the other;
/// both ends are of one build and of one computer.
namespace platform::keyring {

/// Parts of a request: service, account, secret.
enum class Wish : std::uint32_t
{
    Find,         ///< without a prompt
    FindUnlocked, ///< with a prompt if need be, for as long as the person takes
    HasDefault,   ///< whether there is a keyring for new items
    StoreIfOpen,  ///< without a prompt
    Store,        ///< with a prompt if need be
    Remove,
};

/// Part of an answer: what was found.
enum class Outcome : std::uint32_t
{
    Done,
    Nothing, ///< no such item, no keyring for new ones, or it is not open
    NoService,
    Locked,
    TimedOut,
    Failed,
    NotInstalled, ///< never sent: there is no helper
};

struct Head
{
    std::uint32_t what = 0; ///< a wish or an outcome
    std::array<std::uint32_t, 3> sizes{};
};

/// Far beyond any password: a longer part is a mistake.
constexpr std::size_t LargestPart = std::size_t(16) << 20;

} // namespace platform::keyring
