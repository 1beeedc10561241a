#pragma once

#include "Service.h"

#include <string>
#include <vector>

namespace localservice {

/// The program `quillon-service`: options, first use, and running until SIGINT or SIGTERM. With TLS, SIGHUP reads
/// certificate and key again.
class ServiceProgram final
{
public:
    explicit ServiceProgram(std::vector<std::string> arguments) : m_arguments(std::move(arguments)) {}

    /// Runs the program; returns its exit status: 0 after a clean stop, 1 when it cannot run, 2 for wrong options.
    int run();

private:
    Result<void> readOptions();
    Result<void> checkOptions();
    Result<void> openTls();
    /// Returns whether a password was shown.
    Result<bool> prepareAccount(Service& service);
    void tellAddress(std::uint16_t port, bool passwordShown) const;
    void reloadCertificate() const;
    /// Lists the copies of the data, or puts one in the data's place. Returns the exit status.
    int restore() const;

    std::vector<std::string> m_arguments;
    Service::Options m_options;
    TlsFiles m_tls;
    std::string m_account = "local";
    std::string m_firstEmail;
    bool m_resetPassword = false;
    std::optional<std::string> m_restore; ///< the copy to restore; empty: only list them
};

} // namespace localservice
