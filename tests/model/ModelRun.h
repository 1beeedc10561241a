#pragma once

#include "model/Company.h"
#include "model/DataModel.h"
#include "model/Host.h"
#include "model/User.h"
#include "support/TestEnvironment.h"

#include "store/Context.h"
#include "store/Coordinator.h"

#include "settings/Keys.h"
#include "settings/UserDefaults.h"

#include <ctime>
#include <optional>

#ifdef __SANITIZE_ADDRESS__
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // gcc comes without its header
#else
#include <malloc.h>
#endif

/// The system's time zone, for the lifetime of the object.
class Zone
{
public:
    explicit Zone(const char* name) : m_before(qgetenv("TZ"))
    {
        qputenv("TZ", name);
        tzset();
    }
    ~Zone()
    {
        m_before.isNull() ? qunsetenv("TZ") : qputenv("TZ", m_before);
        tzset();
    }

private:
    QByteArray m_before;
};

inline QString utc(const QDateTime& date)
{
    return date.toUTC().toString(Qt::ISODate);
}

/// Values of the object by their names, joined by "; ": moments in UTC, what it leads to as its id, "-" for nothing.
inline QString values(const store::Object* object, const char* names)
{
    QStringList texts;
    for (const QByteArray& name : QByteArray(names).split(' ')) {
        const bool isAttribute = object->entity().attributeIndex(name.toStdString()) >= 0;
        const store::Object* other = isAttribute ? nullptr : object->toOne(name.toStdString());
        const store::Value value = isAttribute ? object->value(name.toStdString())
                                   : other     ? other->value("idString")
                                               : store::Value();
        if (const auto* date = std::get_if<QDateTime>(&value))
            texts << utc(*date);
        else if (const auto* truth = std::get_if<bool>(&value))
            texts << (*truth ? QStringLiteral("yes") : QStringLiteral("no"));
        else if (const auto* text = std::get_if<QString>(&value))
            texts << *text;
        else
            texts << (store::isNull(value) ? QStringLiteral("-") : QString::number(object->number(name.toStdString())));
    }
    return texts.join(QStringLiteral("; "));
}

/// Bytes that the program has in use.
inline qsizetype bytesInUse()
{
#ifdef __SANITIZE_ADDRESS__
    return static_cast<qsizetype>(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qsizetype>(info.uordblks + info.hblkhd);
#endif
}

/// A run of the program with its store: a main context, and one per response as the worker has.
class ModelRun : public model::Host
{
public:
    static constexpr QLatin1StringView email{"ann@example.com"};

    explicit ModelRun(const char* zone = "UTC")
        : m_zone(zone),
          m_coordinator(std::make_shared<store::Coordinator>(model::loadModel(), model::objectFactories()))
    {
        stored = m_coordinator->addStore(test.folders.path(QStringLiteral("QuillonX.sqlite"))).has_value();
        settings::UserDefaults::standardUserDefaults().setString(settings::SCEmailKey, email);
        m_main.emplace(m_coordinator, store::MergePolicy::Overwrite);
        model::Host::set(this);
    }
    ~ModelRun() override { model::Host::set(nullptr); }

    store::Context* mainContext() override { return &*m_main; }
    model::User* currentUser() override { return currentUserInContext(*m_main); }
    model::User* currentUserInContext(store::Context& context) override
    {
        model::Company* found = model::Company::findBySubdomain(QStringLiteral("acme"), context);
        return found ? model::User::findByEmail(email, *found, context) : nullptr;
    }
    std::shared_ptr<store::Coordinator> coordinator() override { return m_coordinator; }

    model::Company& company() { return *model::Company::findOrCreateCompany(QStringLiteral("acme")); }
    store::Context& main() { return *m_main; }

    /// A response as the worker takes it in: own context, merged into the main one. False when it was refused.
    bool import(model::XmlImport parseXml, const QByteArray& xml)
    {
        store::Context context(m_coordinator, store::MergePolicy::PropertyObjectTrump);
        auto& imported = model::Company::findOrCreateCompany(QStringLiteral("acme"), context);
        saves = 0;
        context.setDidSave([this](const std::shared_ptr<const store::ChangeSet>& changes) {
            bytesAtSave = bytesInUse();
            saves += changes->isEmpty() ? 0 : 1;
            m_main->mergeChanges(*changes);
        });
        return parseXml(xml, imported, context).has_value();
    }
    /// The account's description, with Ann signed in.
    void signIn(bool timestampTimers = false)
    {
        const auto describe = [](QByteArray xml, model::Company&, store::Context& context) {
            return model::Company::buildCompanyWithSubdomain(QStringLiteral("acme"), xml, context).map([](auto*) {});
        };
        import(describe,
               QByteArray("<hash><user><timestamp-timers>") + (timestampTimers ? "true" : "false") +
                   "</timestamp-timers><timezone>London</timezone><admin>true</admin><id>7</id></user></hash>");
    }

    template <class T>
    std::vector<T*> all()
    {
        std::vector<T*> typed;
        for (store::Object* object : m_main->fetch({T::EntityName, {}, {{"idString"}}}))
            typed.push_back(static_cast<T*>(object));
        return typed;
    }
    /// Null: none.
    template <class T>
    T* byId(const char* id)
    {
        return model::fetchFirst<T>(*m_main, store::where("idString", QString::fromLatin1(id)));
    }

    void setNow(const char* isoUtc)
    {
        test.time.setNow(std::chrono::system_clock::time_point(std::chrono::milliseconds(
            QDateTime::fromString(QLatin1StringView(isoUtc), Qt::ISODate).toMSecsSinceEpoch())));
    }

    support::TestRun test;

private:
    Zone m_zone; // that of the test is another one

public:
    bool stored = false;
    /// Saves of the last import that wrote something.
    int saves = 0;
    qsizetype bytesAtSave = 0;

private:
    std::shared_ptr<store::Coordinator> m_coordinator;
    std::optional<store::Context> m_main;
};
