#pragma once

#include "Page.h"
#include "Sessions.h"
#include "SignInLinks.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace localservice {

class DailyBackups;
class PasswordSignIn;
class Storage;

/// The pages for browsers. Everything but signing in needs a session; every form needs its token. Any thread.
class Site final
{
public:
    /// Handles a request; `numbers` are the path segments where the route has "#".
    using Handler = std::function<Reply(const Visit& visit, const std::vector<Id>& numbers)>;

    /// Who may use a route: everyone signed in, or administrators only.
    enum class For
    {
        Everybody,
        Administrators,
    };

    struct Options
    {
        bool withinProgram = false;      ///< the desktop program's menu opens pages signed in
        bool signInLinks = false;        ///< the service is for this machine alone
        DailyBackups* backups = nullptr; ///< of the data file; none where nobody makes any
    };

    Site(Storage& storage, Clock clock, PasswordSignIn& signIn, Options options);

    /// Whether a browser asks for a page, rather than a program for XML.
    static bool isAskedBy(const Request& request);

    Reply answer(const Request& request);

    /// Whether the sender of that head may upload a large file.
    bool mayUpload(const Request& head);

    /// The path that leads a browser of this machine's user to `target`, signed in as that person of the account, once
    /// and within a minute: `target` itself when there are no such links here.
    std::string signInLink(const std::string& subdomain, const std::string& email, const std::string& target);

    /// For the pages about them.
    DailyBackups* backups() const { return m_options.backups; }
    /// For pages that ask for the password again.
    PasswordSignIn& passwordSignIn() const { return m_signIn; }

    /// `path` has "#" for a number: "/projects/#". Forms are sent with POST, everything else is GET.
    void add(std::string_view method, std::string_view path, Handler handler, For whom = For::Everybody);

private:
    struct Route
    {
        std::string method;
        std::string path;
        Handler handler;
        For whom;
    };

    struct Account
    {
        std::string subdomain;
        std::string name;
    };

    Reply answerSignedIn(const Request& request, std::string_view session, Person person, Seconds now);
    Reply answerTo(const Visit& visit);
    Reply asset(std::string_view name) const;
    std::optional<Account> account(const Request& request);
    Reply askToSignIn(const Request& request, const Account& account, bool hadSession);
    Reply signIn(const Request& request, const Account& account, Seconds now);
    Reply followLink(const Request& request, Seconds now);
    /// Starts a session; returns the secret for its cookie.
    std::optional<std::string> enter(const Request& request, Id person, Seconds now);
    Visit visit(const Request& request, std::string_view session, Person person, Seconds now);

    Storage& m_storage;
    Clock m_clock;
    const Options m_options;
    Sessions m_sessions;
    SignInLinks m_links;
    PasswordSignIn& m_signIn;
    std::vector<Route> m_routes;
};

// Each file of pages adds its own.
void addDayPages(Site& site);     ///< /daily, /entries
void addCatalogPages(Site& site); ///< /projects, /clients, /tasks
void addPeoplePages(Site& site);  ///< /people, /account
void addReportPages(Site& site);  ///< /reports
void addRemovalPages(Site& site); ///< /removed
void addDataPages(Site& site);    ///< /data

} // namespace localservice
