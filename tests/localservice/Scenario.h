#pragma once

#include "../support/TestData.h"
#include "HttpClient.h"

#include "localservice/Service.h"
#include "localservice/Storage.h"
#include "localservice/Timesheet.h"

#include <QTemporaryDir>

#include <atomic>

/// A service on a fresh data file with the accounts "acme" (durations) and "clock" (start and end times), one person
/// in each, and a clock that moves only when told to.
class Scenario
{
public:
    /// One of the two accounts, with what was made in it.
    struct Account
    {
        QString subdomain;
        localservice::Id id = 0;
        localservice::Id person = 0;
        localservice::Id website = 0;  ///< offers both tasks, design billable
        localservice::Id internal = 0; ///< offers support only
        localservice::Id design = 0;
        localservice::Id support = 0;
    };

    /// What the clock says at first: Tue, 5 Mar 2024 08:15:40 UTC, 9:15 in the accounts' zone.
    static constexpr localservice::Seconds Start = 1709626540;

    /// Makes such an account.
    static Account fill(support::TestData data, const std::string& subdomain, bool timestampTimers);

    enum class Over
    {
        Plain,
        Tls,
    };
    explicit Scenario(Over transport = Over::Plain);

    void pass(std::chrono::seconds time) { m_now += time.count(); }
    std::unique_ptr<HttpClient> client(const Account& account, const QString& password = QStringLiteral("secret"),
                                       const QString& email = QStringLiteral("ann@example.com"));

    Answer get(const QString& target) { return m_client->get(target); }
    Answer post(const QString& target, const QByteArray& body) { return m_client->post(target, body); }
    /// Adds an entry on the website project and its design task; answers its id.
    QString add(const QString& fields = {}) { return book(fields).text(QStringLiteral("id")); }
    Answer book(const QString& fields);
    Answer update(const QString& id, const QString& fields);
    Answer toggle(const QString& id) { return get(QStringLiteral("/daily/timer/") + id); }
    Answer today() { return get(QStringLiteral("/daily?slim=1")); }

    /// From now on the client speaks for the other account.
    void useTimestamps();
    void restart();

    /// What the person may do, beside the service on the same data file.
    localservice::Timesheet timesheet();
    localservice::Seconds now() const { return m_now; }

    support::TestData database() { return support::TestData(**service->database()); }
    std::string file() const { return folder.filePath(QStringLiteral("deep/service.sqlite")).toStdString(); }
    /// The administrator of "acme".
    localservice::Person ann() const;

    // What is done to the data as the service does it; each call is a transaction of its own.
    template <typename Work>
    auto change(Work work)
    {
        return database().storage().change(work);
    }
    /// How many rows that has changed.
    int run(const std::string& sql);
    /// The rows that a query finds, their columns with a "|" between them.
    QStringList rows(const std::string& sql);

    const Account& account() const { return *m_current; }

    Account acme;
    Account clock;
    std::unique_ptr<localservice::Service> service;
    QTemporaryDir folder;

private:
    void connect();

    const Over m_transport;
    std::atomic<localservice::Seconds> m_now{Start};
    const Account* m_current = nullptr;
    localservice::Person m_person;
    std::unique_ptr<HttpClient> m_client;
};
