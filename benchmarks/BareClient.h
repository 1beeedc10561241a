#pragma once

#include <optional>
#include <string>

namespace bench {

/// The floor of a request: one libcurl handle, signed in to the large account.
class BareClient
{
public:
    explicit BareClient(const std::string& port);
    ~BareClient();
    BareClient(const BareClient&) = delete;
    BareClient& operator=(const BareClient&) = delete;

    /// The body of the reply, which must be a good one. POST with a body, else GET.
    std::string send(const std::string& path, const std::optional<std::string>& body = std::nullopt);

private:
    std::string m_base;
    void* m_easy;
};

} // namespace bench
