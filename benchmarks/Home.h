#pragma once

#include <map>
#include <string>

namespace bench {

/// The person signed in to the large account.
inline constexpr const char* AccountName = "large";
inline constexpr const char* Email = "ann@example.com";
inline constexpr const char* Password = "of the benchmark";

/// The folders of a person who is signed in to the account on a service of this machine. Removed with the object.
class Home
{
public:
    explicit Home(const std::string& servicePort);
    ~Home();
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    /// The environment for a program that uses this home.
    std::map<std::string, std::string> environment() const;

    /// The day's entries in the local store; -1 while there is none.
    int storedEntries() const;

private:
    std::string m_folder;
};

/// Stores the account's password in the session's keyring, as the preferences window does.
void rememberPassword();

} // namespace bench
