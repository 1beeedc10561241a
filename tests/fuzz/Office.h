#pragma once

#include "Fuzz.h"

#include "localservice/Api.h"
#include "localservice/Storage.h"
#include "pages/Site.h"

#include <SQLiteCpp/Backup.h>

#include <QTemporaryDir>

/// The service without its sockets: what answers programs and browsers, over a data file that is set back after each
/// request. Its clock stands still.
class Office
{
public:
    using Request = localservice::Request;

    Office()
    {
        const auto sample = m_database->ensureSampleAccount("ann@office.example");
        m_password = sample.value().password.value();
        keep();
    }

    const std::string& password() const { return m_password; }

    /// What is in the data now is what it is set back to.
    void keep() { SQLite::Backup(m_kept, m_behind).executeStep(); }
    void setBack()
    {
        const int version = m_behind.execAndGet("PRAGMA data_version").getInt();
        if (version != m_version)
            SQLite::Backup(m_behind, m_kept).executeStep();
        m_version = version;
    }

    /// A request in the form "METHOD TARGET", line break, body: over TLS, from a page of the service itself.
    static Request request(std::string_view text)
    {
        const auto line = text.substr(0, text.find('\n'));
        const auto blank = std::min(line.find(' '), line.size());
        const auto target = line.substr(std::min(blank + 1, line.size()));
        Request request{std::string(line.substr(0, blank)), std::string(target)};
        request.body = text.substr(std::min(line.size() + 1, text.size()));
        request.headers = {{"Host", "local.office.example"}, {"Origin", "https://local.office.example"}};
        request.secure = true;
        request.peer = "192.0.2.7";
        return request;
    }

    localservice::Reply answer(const Request& request)
    {
        const auto reply = localservice::Site::isAskedBy(request) ? m_site.answer(request) : m_api.answer(request);
        // Nothing that was sent breaks a header, the data or a statement.
        for (const auto& [name, value] : reply.headers)
            MUST(std::none_of(value.begin(), value.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }));
        MUST(reply.body.find("<kind>Storage</kind>") == std::string::npos);
        MUST(m_behind.execAndGet("SELECT COUNT(*) FROM pragma_foreign_key_check").getInt() == 0);
        MUST(m_behind.execAndGet("SELECT COUNT(*) FROM entries WHERE timer_started IS NOT NULL").getInt() <= 1);
        return reply;
    }

private:
    QTemporaryDir m_folder;
    std::string m_file = m_folder.filePath(QStringLiteral("service.sqlite")).toStdString();
    std::string m_password;
    localservice::Clock m_clock = [] { return std::chrono::system_clock::from_time_t(1709626540); };
    std::unique_ptr<localservice::Database> m_database = std::move(localservice::Database::open(m_file).value());
    localservice::PasswordSignIn m_signIn{m_database->storage(), m_clock};
    localservice::Api m_api{m_database->storage(), m_clock, m_signIn, "of this run"};
    localservice::Site m_site{m_database->storage(), m_clock, m_signIn, {}};
    SQLite::Database m_behind{m_file, SQLite::OPEN_READWRITE};
    SQLite::Database m_kept{":memory:", SQLite::OPEN_READWRITE};
    int m_version = 0;
};
