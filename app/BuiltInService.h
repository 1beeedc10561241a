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

    /// What it is given of the program.
    struct Surroundings
    {
        QString dataFolder;   ///< for its data file; empty: there is none
        QString configFolder; ///< for what it remembers of its last run
        void (*complain)(const QString& what);
    };
    /// The function of that name in its module, which returns a new one.
    static constexpr const char* ModuleFunction = "quillonMakeBuiltInService";
    using ModuleMaker = BuiltInService* (*)(const Surroundings&);

    /// How the program signs in to it.
    struct Account
    {
        QString url; ///< the account's base address, without a slash at the end
        QString email;
    };

    /// Called on any thread, with a sentence for people, when the data file is lost while in use, and with an empty one
    /// when all is well again. Must return at once.
    using FileTrouble = std::function<void(const QString& sentence)>;

    /// Ends the service, in well under a second.
    virtual ~BuiltInService() = default;

    /// Starts it on this machine only, and accepts `password` for this run, besides the owner's own, if any. Once, on
    /// any thread. The error is a sentence for people.
    virtual tl::expected<Account, QString> start(const QString& password, FileTrouble trouble) = 0;

    /// An address that opens `page`, one of the service's, in a browser that is then signed in. It works once, within a
    /// minute, for the user who runs this program: open it at once and do not store it. After `start`, any thread.
    virtual QUrl signedInLink(const QUrl& page) = 0;

    /// The daily copies of its data, for people: see `preferences::TimeHereOwner`. After `start`, any thread.
    virtual QString copiesInWords() const = 0;
};

} // namespace app
