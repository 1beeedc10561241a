#pragma once

#include <QString>

#include <tl/expected.hpp>

namespace app {

/// A timesheet service that runs within the program, for a person without an account elsewhere.
class EmbeddedService
{
public:
    /// How the program signs in to it.
    struct Account
    {
        QString name;   ///< the account's name, as in the settings
        QString domain; ///< what follows it in the service's host, with a dot in front and the port behind
        QString email;
    };

    /// Ends the service, in well under a second.
    virtual ~EmbeddedService() = default;

    /// Starts it on this machine alone, and lets `password` in for this run, beside whatever password its owner has.
    /// Once, on any thread. The error is a sentence for people.
    virtual tl::expected<Account, QString> start(const QString& password) = 0;
};

} // namespace app
