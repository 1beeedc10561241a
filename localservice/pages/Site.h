#pragma once

#include "Credentials.h"
#include "Page.h"
#include "Sessions.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace localservice {

class SignInThrottle;
class Storage;

/// The pages for people's browsers. Everything but signing in needs a session; every form needs its token. Any thread.
class Site final
{
public:
    /// Makes the answer to a request; `numbers` are the path's pieces where the route has "#".
    using Handler = std::function<Reply(const Visit& visit, const std::vector<Id>& numbers)>;

    /// Who may ask: everybody who is signed in, or administrators alone.
    enum class For
    {
        Everybody,
        Administrators,
    };

    Site(Storage& storage, Clock clock, SignInThrottle& throttle);

    /// Whether a browser asks for a page, rather than a program for XML.
    static bool isAskedBy(const Request& request);

    Reply answer(const Request& request);

    /// `path` has "#" for a number: "/projects/#". Forms are sent with POST, everything else is GET.
    void add(std::string_view method, std::string_view path, Handler handler, For whom = For::Everybody);

private:
    struct Route
    {
        std::string method;
        std::vector<std::string> pieces;
        Handler handler;
        For whom;
    };

    Reply answerTo(const Visit& visit);
    Reply asset(std::string_view name) const;
    Reply signIn(const Request& request, Seconds now);

    Storage& m_storage;
    Clock m_clock;
    Sessions m_sessions;
    PasswordCheck m_passwords;
    SignInThrottle& m_throttle;
    std::vector<Route> m_routes;
};

// Each file of pages adds its own.
void addDayPages(Site& site);     ///< /daily, /entries
void addCatalogPages(Site& site); ///< /projects, /clients, /tasks
void addPeoplePages(Site& site);  ///< /people, /account
void addReportPages(Site& site);  ///< /reports

} // namespace localservice
