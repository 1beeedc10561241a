#pragma once

#include "Frames.h"

#include <string>

namespace platform::keyring {

/// Bytes that are overwritten when they go.
struct Bytes : std::string
{
    using std::string::string;
    Bytes(Bytes&&) = default;
    Bytes& operator=(Bytes&&) = default;
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes();
};

struct Request
{
    Wish wish;
    std::string service;
    std::string account;
    Bytes secret;
};

struct Answer
{
    Outcome outcome;
    Bytes found;
};

/// Takes as long as the keyring and the person take.
Answer perform(const Request& request);

} // namespace platform::keyring
