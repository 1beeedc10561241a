#include "Imports.h"

#include "BareImport.h"
#include "Home.h"
#include "Report.h"

#include "model/Company.h"
#include "model/DataModel.h"
#include "model/DayEntry.h"
#include "model/Host.h"
#include "model/User.h"
#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "platform/SystemEnvironment.h"
#include "settings/Keys.h"
#include "settings/UserDefaults.h"
#include "store/Context.h"
#include "store/Coordinator.h"

#include <QTemporaryDir>

#include <sqlite3.h>

#include <exception>
#include <stdexcept>
#include <thread>

namespace bench {

namespace {

const QString Account = QString::fromLatin1(AccountName);

/// Milliseconds of processor time that the work takes on a new thread: nothing in it waits. Both sides of a comparison
/// work that way, as a new thread's memory costs more than the main thread's.
template <class Work>
double onWorker(Work work)
{
    double milliseconds = 0;
    std::exception_ptr failure;
    std::thread([&] {
        const double before = processorTime();
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        milliseconds = (processorTime() - before) * 1000;
    }).join();
    if (failure)
        std::rethrow_exception(failure);
    return milliseconds;
}

/// A store of its own, with the account and its user in it, as an operation finds it.
class Store final : public model::Host
{
public:
    Store() : m_coordinator(std::make_shared<store::Coordinator>(model::loadModel(), model::objectFactories()))
    {
        if (!m_coordinator->addStore(file()))
            throw std::runtime_error("no store");
        model::Host::set(this);
        store::Context context(m_coordinator, store::MergePolicy::PropertyObjectTrump);
        if (!model::Company::buildCompanyWithSubdomain(
                Account, "<hash><user><id>1</id><email>ann@example.com</email></user></hash>", context))
            throw std::runtime_error("no account");
    }
    ~Store() override { model::Host::set(nullptr); }

    store::Context* mainContext() override { return nullptr; }
    model::User* currentUser() override { return nullptr; }
    model::User* currentUserInContext(store::Context& context) override
    {
        const model::Company* company = model::Company::findBySubdomain(Account, context);
        return company ? model::User::findByEmail(QString::fromLatin1(Email), *company, context) : nullptr;
    }
    std::shared_ptr<store::Coordinator> coordinator() override { return m_coordinator; }

    QString file() const { return m_folder.filePath(QStringLiteral("QuillonX.sqlite")); }

    /// What an operation does with the reply, on a worker thread. Milliseconds; `saves` counts what was written.
    double import(const QByteArray& sheet, int* saves = nullptr)
    {
        return onWorker([&] {
            store::Context context(m_coordinator, store::MergePolicy::PropertyObjectTrump);
            context.setDidSave([&](const auto& changes) {
                if (saves && !changes->isEmpty())
                    ++*saves;
            });
            model::Company& company = model::Company::findOrCreateCompany(Account, context);
            static_cast<void>(model::DayEntry::parseXml(sheet, company, context));
        });
    }

private:
    QTemporaryDir m_folder;
    std::shared_ptr<store::Coordinator> m_coordinator;
};

/// Every row of every table, as strings.
std::string dump(const QString& file)
{
    sqlite3* database = nullptr;
    std::string rows;
    sqlite3_open_v2(file.toUtf8().constData(), &database, SQLITE_OPEN_READONLY, nullptr);
    for (const char* table : {"Client", "Project", "Task", "UserAssignment", "TaskAssignment", "DayEntry"}) {
        sqlite3_exec(
            database, ("SELECT * FROM " + std::string(table) + " ORDER BY pk").c_str(),
            [](void* into, int count, char** values, char**) {
                for (int i = 0; i < count; ++i)
                    *static_cast<std::string*>(into) += std::string(values[i] ? values[i] : "-") + '|';
                *static_cast<std::string*>(into) += '\n';
                return 0;
            },
            &rows, nullptr);
    }
    sqlite3_close(database);
    return rows;
}

std::string firstDifference(const std::string& left, const std::string& right)
{
    std::size_t at = 0;
    while (at < left.size() && at < right.size() && left[at] == right[at])
        ++at;
    const auto line = [at](const std::string& text) {
        const std::size_t begin = text.rfind('\n', at == 0 ? 0 : at - 1);
        return text.substr(begin == std::string::npos ? 0 : begin + 1, 200);
    };
    return line(left) + "\n-- but --\n" + line(right);
}

} // namespace

void measureImports(const QByteArray& sheet)
{
    platform::Run run(platform::systemEnvironment(platform::InfoDictionary()));
    settings::UserDefaults::standardUserDefaults().setString(settings::SCEmailKey, QString::fromLatin1(Email));
    const std::string_view xml(sheet.constData(), static_cast<std::size_t>(sheet.size()));

    std::string ours, bare;
    const Pairs fresh = pairs(
        25,
        [&] {
            Store store;
            const double time = store.import(sheet);
            ours = dump(store.file());
            return time;
        },
        [&] {
            Store store;
            BareImport import(store.file().toStdString());
            const double time = onWorker([&] { import.insert(xml); });
            bare = dump(store.file());
            return time;
        });
    if (ours.empty() || ours != bare)
        throw std::runtime_error("the imports differ: " + firstDifference(ours, bare));
    report("import into an empty store, of bare", fresh.ratio(), "x", {1.5, 1.15}, fresh.detail("ms"));

    Store store;
    store.import(sheet);
    const std::string stored = dump(store.file());
    int saves = 0;
    const Pairs unchanged = pairs(
        25, [&] { return store.import(sheet, &saves); },
        [&] {
            BareImport import(store.file().toStdString());
            return onWorker([&] {
                if (import.compare(xml) != 0)
                    throw std::runtime_error("the comparison found differences");
            });
        });
    if (saves != 0 || dump(store.file()) != stored)
        throw std::runtime_error("an unchanged import wrote rows");
    report("import once more unchanged, of bare", unchanged.ratio(), "x", {1.5, 1.1},
           unchanged.detail("ms") + ", no row written");
}

} // namespace bench
