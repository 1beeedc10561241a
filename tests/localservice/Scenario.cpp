#include "Scenario.h"

#include "Certificate.h"

#include <QDir>

#include <ctime>

using namespace Qt::StringLiterals;

namespace {

/// A filled data file, made once for all scenarios of a test program: hashing passwords takes time.
struct Template
{
    QTemporaryDir folder;
    QString file = folder.filePath(u"template.sqlite"_s);
    Scenario::Account acme;
    Scenario::Account clock;

    Template()
    {
        const auto database = localservice::Database::open(file.toStdString());
        if (!database)
            qFatal("%s", database.error().c_str());
        acme = Scenario::fill(support::TestData(**database), "acme", false);
        clock = Scenario::fill(support::TestData(**database), "clock", true);
    }
};

const Certificate& certificate()
{
    static const Certificate made;
    return made;
}

std::shared_ptr<localservice::Tls> openTls()
{
    auto tls = localservice::Tls::open({certificate().file().toStdString(), certificate().key().toStdString()});
    if (!tls)
        qFatal("%s", tls.error().c_str());
    return std::move(*tls);
}

} // namespace

Scenario::Account Scenario::fill(support::TestData data, const std::string& subdomain, bool timestampTimers)
{
    Account account{QString::fromStdString(subdomain)};
    account.id = data.addAccount({subdomain, "Acme & Co", timestampTimers, "Europe/Berlin"}).value();
    account.person = data.addPerson({account.id, "ann@example.com", "secret", "Ann", "Lee", true, 80}).value();
    const auto client = data.addClient(account.id, "Bread <& Sons>").value();
    account.website = data.addProject({client, "Website", "WEB"}).value();
    account.internal = data.addProject({client, "Internal", "", false}).value();
    account.design = data.addTask(account.id, "Design", 90).value();
    account.support = data.addTask(account.id, "Support").value();
    data.offerTask(account.website, account.design, true).value();
    data.offerTask(account.website, account.support, false).value();
    data.offerTask(account.internal, account.support, false).value();
    data.assignPerson(account.website, account.person).value();
    data.assignPerson(account.internal, account.person).value();
    return account;
}

Scenario::Scenario(Over transport) : m_transport(transport)
{
    // Central European rules written out, so that no zone files are needed.
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    ::tzset();
    static const Template filled;
    acme = filled.acme;
    clock = filled.clock;
    QDir(folder.path()).mkdir(u"deep"_s);
    QFile::copy(filled.file, folder.filePath(u"deep/service.sqlite"_s));
    QFile::setPermissions(folder.filePath(u"deep/service.sqlite"_s),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    m_current = &acme;
    restart();
}

void Scenario::restart()
{
    service.reset();
    service = std::make_unique<localservice::Service>(localservice::Service::Options{
        .dataFile = file(), .tls = m_transport == Over::Tls ? openTls() : nullptr, .clock = [this] {
            return std::chrono::system_clock::from_time_t(m_now);
        }});
    if (const auto port = service->start(); !port)
        qFatal("%s", port.error().c_str());
    connect();
}

std::unique_ptr<HttpClient> Scenario::client(const Account& account, const QString& password, const QString& email)
{
    const auto url = QString::fromStdString(service->url(account.subdomain.toStdString()));
    auto client = std::make_unique<HttpClient>(url, email, password);
    if (m_transport == Over::Tls)
        client->trusted = certificate().file();
    return client;
}

void Scenario::connect()
{
    m_client = client(*m_current);
}

void Scenario::useTimestamps()
{
    m_current = &clock;
    connect();
}

localservice::Timesheet Scenario::timesheet()
{
    m_person.id = account().person;
    m_person.account = account().id;
    m_person.timestampTimers = account().subdomain == u"clock"_s;
    return {database().storage(), m_person, now()};
}

localservice::Person Scenario::ann() const
{
    localservice::Person person;
    person.id = acme.person;
    person.account = acme.id;
    person.admin = true;
    return person;
}

int Scenario::run(const std::string& sql)
{
    return change([&](SQLite::Database& data) -> tl::expected<int, localservice::Problem> { return data.exec(sql); })
        .value();
}

QStringList Scenario::rows(const std::string& sql)
{
    return change([&](SQLite::Database& data) -> tl::expected<QStringList, localservice::Problem> {
               QStringList found;
               SQLite::Statement query(data, sql);
               while (query.executeStep()) {
                   QStringList cells;
                   for (int i = 0; i < query.getColumnCount(); ++i)
                       cells += QString::fromStdString(query.getColumn(i).getString());
                   found += cells.join(u'|');
               }
               return found;
           })
        .value();
}

Answer Scenario::book(const QString& fields)
{
    const auto there = u"project_id=%1 task_id=%2 "_s.arg(account().website).arg(account().design);
    return post(u"/daily/add"_s, requestBody(there + fields));
}

Answer Scenario::update(const QString& id, const QString& fields)
{
    return post(u"/daily/update/"_s + id, requestBody(fields));
}
