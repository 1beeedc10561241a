#pragma once

#include "../model/ModelRun.h"

#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"

using namespace Qt::StringLiterals;

/// A signed-in run with a catalog, which can be changed as refreshes do it.
class EditingRun : public ModelRun
{
public:
    struct OfferedTask
    {
        const char* id;
        QString name;
        bool billable = true;
    };
    struct OfferedProject
    {
        const char* id;
        QString client;
        QString code;
        QString name;
        std::vector<OfferedTask> tasks = {};
    };

    EditingRun()
    {
        signIn();
        static_cast<void>(import(&model::User::parseXml, "<users><user><id>7</id><email>ann@example.com</email></user>"
                                                         "</users>"));
        refresh();
    }

    /// What the picker offers from the next refresh on.
    std::vector<OfferedProject> offered{
        {"11", u"Zoo"_s, u"ZW"_s, u"Website"_s, {{"21", u"Design"_s}, {"22", u"admin"_s, false}}},
        {"12", u"Bank"_s, {}, u"Design"_s, {{"21", u"Design"_s}, {"23", u"Build"_s}, {"22", u"admin"_s, false}}},
        {"13", u"Zoo"_s, {}, u"Attic"_s},
        {"14", u"Bank"_s, {}, u"Books"_s, {{"23", u"Build"_s}}},
        {"15", u"Bank"_s, {}, u"destination guide"_s, {{"23", u"Build"_s}}},
    };

    /// A full day sheet comes in.
    void refresh()
    {
        QString xml = u"<daily><for_day>Tue, 15 Jan 2013</for_day><day_entries/><projects>"_s;
        for (const OfferedProject& project : offered) {
            xml += u"<project><name>%1</name><code>%2</code><id>%3</id><client>%4</client><tasks>"_s.arg(
                escaped(project.name), escaped(project.code), QLatin1StringView(project.id), escaped(project.client));
            for (const OfferedTask& task : project.tasks)
                xml += u"<task><name>%1</name><id>%2</id><billable>%3</billable></task>"_s.arg(
                    escaped(task.name), QLatin1StringView(task.id), task.billable ? u"true"_s : u"false"_s);
            xml += u"</tasks></project>"_s;
        }
        static_cast<void>(import(&model::DayEntry::parseXml, (xml + u"</projects></daily>"_s).toUtf8()));
    }
    void remove(const char* id)
    {
        std::erase_if(offered, [&](const OfferedProject& project) { return qstrcmp(project.id, id) == 0; });
        refresh();
    }

private:
    /// The service escapes names twice.
    static QString escaped(const QString& name) { return name.toHtmlEscaped().toHtmlEscaped(); }
};
