#pragma once

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <tl/expected.hpp>

namespace app {

/// The built-in service: a timesheet service for a person without an account elsewhere.
class BuiltInService
{
public:
    using Maker = std::function<std::unique_ptr<BuiltInService>()>;

    /// How the program signs in to it.
    struct Account
    {
        QString url; ///< the account's base address, without a slash at the end
        QString email;
    };

    /// Called on any thread, with a sentence for people, when the file that the time is in is lost while it is in use.
    /// With an empty one when all is well again. To return at once.
    using FileTrouble = std::function<void(const QString& sentence)>;

    /// Ends the service, in well under a second.
    virtual ~BuiltInService() = default;

    /// Starts it on this machine alone, and lets `password` in for this run, beside whatever password its owner has.
    /// Once, on any thread. The error is a sentence for people.
    virtual tl::expected<Account, QString> start(const QString& password, FileTrouble trouble) = 0;

    /// An address that opens `page`, one of the service's, in a browser that is signed in then. It works once, within a
    /// minute, for the person who runs this program: to be opened at once and kept nowhere. After `start`, any thread.
    virtual QUrl signedInLink(const QUrl& page) = 0;
};

} // namespace app
