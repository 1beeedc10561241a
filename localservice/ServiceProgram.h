#pragma once

#include "Service.h"

#include <string>
#include <vector>

namespace localservice {

/// The program `quillon-service`: options, first use, and running until SIGINT or SIGTERM.
class ServiceProgram final
{
public:
    explicit ServiceProgram(std::vector<std::string> arguments) : m_arguments(std::move(arguments)) {}

    /// Runs the program; answers its exit status: 0 after a clean stop, 1 when it cannot run, 2 for wrong options.
    int run();

private:
    Result<void> readOptions();
    Result<void> prepareAccount(Service& service);

    std::vector<std::string> m_arguments;
    Service::Options m_options;
    bool m_resetPassword = false;
};

} // namespace localservice
