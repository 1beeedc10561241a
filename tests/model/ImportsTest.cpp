#include "ModelRun.h"

#include "model/Client.h"
#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"
#include "model/TaskAssignment.h"
#include "model/UserAssignment.h"

#include "store/Model.h"
#include "support/Transcript.h"

#include <QTest>

#include <algorithm>
#include <set>

using namespace Qt::StringLiterals;
using namespace model;

namespace {

/// Whatever the store holds, each with all that it has, as the context sees it.
QStringList everything(store::Context& context, std::set<std::string>& seen)
{
    QStringList lines;
    for (const store::Entity& entity : context.coordinator().model().entities()) {
        for (store::Object* object : context.fetch({entity.name, {}, {}})) {
            QString line = QString::fromStdString(entity.name);
            for (const store::Attribute& attribute : entity.attributes) {
                const QString value = values(object, attribute.name.c_str());
                if (store::isNull(object->value(attribute.name)))
                    continue;
                line += u' ' + QString::fromStdString(attribute.name) + u'=' + value;
                if (value != u"0" && value != u"no")
                    seen.insert(entity.name + '.' + attribute.name);
            }
            for (int i = 0; i < entity.toOneCount; ++i) {
                const std::string& name = entity.relationships[std::size_t(i)].name;
                if (const store::Object* other = object->toOne(name)) {
                    const std::string& of = other->entity().name;
                    const char* by = of == "Company" ? "subdomain" : of == "Client" ? "idString name" : "idString";
                    line += u" ->"_s + QString::fromStdString(name) + u' ' + values(other, by);
                }
            }
            const auto& shown = static_cast<QuillonObject&>(*object);
            if (shown.displayName() != shown.description())
                line += u" \"%1\""_s.arg(shown.displayName());
            lines << line + u" | "_s + shown.description();
        }
    }
    lines.sort();
    return lines;
}

/// An account's description.
tl::expected<void, XmlError> account(QByteArray xml, Company&, store::Context& context)
{
    return Company::buildCompanyWithSubdomain(u"acme"_s, std::move(xml), context).map([](auto*) {});
}

} // namespace

/// What each document changes in the store. The file has the documents, behind ">", and what comes of them.
class ImportsTest : public QObject
{
    Q_OBJECT

private slots:
    void everyDocument()
    {
        const QHash<QString, XmlImport> readers{{u"Account"_s, &account},
                                                {u"Company"_s, &Company::parseXml},
                                                {u"Client"_s, &Client::parseXml},
                                                {u"User"_s, &User::parseXml},
                                                {u"Task"_s, &Task::parseXml},
                                                {u"Project"_s, &Project::parseXml},
                                                {u"UserAssignment"_s, &UserAssignment::parseXml},
                                                {u"TaskAssignment"_s, &TaskAssignment::parseXml},
                                                {u"DayEntry"_s, &DayEntry::parseXml}};
        const QString name = QFINDTESTDATA("imports.txt");
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        std::optional<ModelRun> run;
        std::set<std::string> seen;
        QStringList known;
        QStringList lines;
        for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
            if (line.startsWith(u"== "_s)) {
                run.reset();
                run.emplace(line.section(u" in "_s, -1).toUtf8().constData());
                run->setNow("2024-03-05T18:00:01Z");
                known.clear();
                lines << line;
            }
            if (!line.startsWith(u"> "_s))
                continue;
            lines << line;
            const QString what = line.section(u' ', 1, 1);
            const QString rest = line.section(u' ', 2);
            if (what == u"write") {
                DayEntry& entry = *run->byId<DayEntry>(rest.toUtf8().constData());
                lines << QString::fromUtf8(entry.toXml() + entry.toSyncXml(entry.updatedAt())).trimmed();
                run->main().save();
                continue;
            }
            QVERIFY2(readers.contains(what), qPrintable(line));
            if (!run->import(readers[what], rest.toUtf8()))
                lines << u"refused"_s;
            store::Context fresh(run->coordinator(), store::MergePolicy::Overwrite);
            const QStringList now = everything(run->main(), seen);
            QCOMPARE(now, everything(fresh, seen)); // what was merged is what was stored
            for (const QString& gone : known) {
                if (!now.contains(gone))
                    lines << u"- "_s + gone;
            }
            for (const QString& come : now) {
                if (!known.contains(come))
                    lines << u"+ "_s + come;
            }
            if (run->saves != (known != now))
                lines << u"saves: %1"_s.arg(run->saves);
            known = now;
        }
        lines << u"-- never set"_s;
        for (const store::Entity& entity : run->coordinator()->model().entities()) {
            for (const store::Attribute& attribute : entity.attributes) {
                if (const std::string each = entity.name + '.' + attribute.name; !seen.contains(each))
                    lines << QString::fromStdString(each);
            }
        }
        const QStringList found = support::differences(name, lines);
        QVERIFY2(found.isEmpty(), qPrintable(found.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(ImportsTest)
#include "ImportsTest.moc"
