#pragma once

#include "Backups.h"
#include "Database.h"
#include "Http.h"
#include "Tls.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace localservice {

/// The timesheet service: HTTP over one data file, on loopback; with TLS, on any address of this machine.
///
/// The first label of the requested host selects the account ("acme.localhost:8787"). All calls are thread-safe;
/// stopping ends open connections and takes well under a second whatever clients do.
class Service final
{
public:
    struct Options
    {
        std::string dataFile;
        /// Numeric; without TLS a loopback address. 127.0.0.1 and ::1 stand for both, where the machine has both.
        std::string address = "127.0.0.1";
        std::uint16_t port = 0;        ///< 0 takes a free one
        std::shared_ptr<Tls> tls = {}; ///< encrypts what is sent, when given
        Clock clock = {};              ///< the system's clock when empty
        /// Signs the program that brings this service in as an account's owner, whatever e-mail it sends and whatever
        /// password the owner has or has not: for XML alone, not for pages. Too random to be guessed; none when empty.
        std::string ownerPassword = {};
        /// Called when the data file is lost while in use; see FileTrouble.
        std::function<void(const std::string& sentence)> tellTrouble = {};
        /// Called when the daily copy of the data cannot be made, and with an empty sentence when it can again.
        std::function<void(const std::string& sentence)> tellBackupTrouble = {};
    };

    /// How the daily copies of the data are.
    struct BackupState
    {
        std::string folder;
        std::optional<Backup> latest = {};
        std::optional<std::string> problem = {}; ///< why the copy of today could not be made
    };

    /// Whether `address` is numeric and reaches this machine only. Without TLS the service listens on no others.
    static bool isLoopback(const std::string& address);

    explicit Service(Options options);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Opens the data file, if necessary, and listens. Returns the port.
    Result<std::uint16_t> start();
    void stop();

    /// Only opens the data file, to fill it before the first request. It stays open until the service is destroyed.
    Result<Database*> database();

    /// Any thread. Reads the folder of the copies.
    BackupState backups() const;

    /// The base URL of an account while the service runs: "http://acme.localhost:40123".
    std::string url(const std::string& subdomain) const;

    /// The address of a page of that account that signs a browser of this machine's same user in as that person: once,
    /// and within a minute. For anyone else it is the plain address. `target` is path and query.
    std::string signInLink(const std::string& subdomain, const std::string& email, const std::string& target) const;

private:
    class State;
    std::unique_ptr<State> m_state;
};

} // namespace localservice
