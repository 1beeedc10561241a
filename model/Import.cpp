#include "Import.h"

#include "Client.h"
#include "DateComparisons.h"
#include "DateFormatting.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"

namespace model {

template <class T>
void Import::know(const std::vector<T*>& all)
{
    auto& known = std::get<Known<T>>(m_known);
    // Backwards, so that the first of several with one id is found, as in every other look-up.
    for (auto object = all.rbegin(); object != all.rend(); ++object)
        known.byId.insert((*object)->idString(), *object);
    known.areAll = true;
}

void Import::loadCatalog()
{
    const std::vector<Client*> clients = m_company.clients();
    know(clients);
    for (auto client = clients.rbegin(); client != clients.rend(); ++client) {
        const QString name = (*client)->name();
        m_clientsByName.insert({name.isNull(), name}, *client);
    }
    know(m_company.projects());
    know(m_company.tasks());
}

Client& Import::findOrCreateByName(const QString& name)
{
    Client*& client = m_clientsByName[{name.isNull(), name}];
    if (!client)
        client = &m_company.findOrCreateByName<Client>(name, m_context);
    return *client;
}

QDateTime Import::wallClockOfDay(const QString& text)
{
    if (text != m_dayText) {
        const QDateTime day = DateFormatting::instance().dateFromDaydate(text);
        m_wallClockOfDay = day.isValid() ? wallClock(day) : QDateTime();
        m_dayText = text;
    }
    return m_wallClockOfDay;
}

Import::Assignment& Import::assignment(const User& user, const Project& project)
{
    return assignment(m_userAssignments, UserAssignment::EntityName, "user", user.id(), project.id());
}

Import::Assignment& Import::assignment(const Task& task, const Project& project)
{
    return assignment(m_taskAssignments, TaskAssignment::EntityName, "task", task.id(), project.id());
}

Import::Assignment& Import::assignment(std::optional<Assignments>& known, std::string_view entity,
                                       const char* relationship, store::ObjectId assigned, store::ObjectId project)
{
    if (!known) {
        known.emplace();
        m_context.scan(entity, store::where("company", &m_company), {"isBillable"}, {relationship, "project"},
                       [&known](const store::Context::Glimpse& stored) {
                           const bool* billable = std::get_if<bool>(&stored.attributes[0]);
                           const auto pair = std::pair(stored.toOnes[0], stored.toOnes[1]);
                           if (!known->contains(pair)) // the first of several
                               known->insert(pair, {stored.id, billable ? std::optional(*billable) : std::nullopt});
                       });
    }
    return (*known)[{assigned.row, project.row}];
}

tl::expected<void, XmlError> importList(QByteArray utf8, Company& company, store::Context& context,
                                        std::string_view list, std::string_view item,
                                        const std::function<void(xml::Element, Import&)>& take, bool mayBeSingle)
{
    const auto document = xml::Document::parse(std::move(utf8));
    if (!document)
        return tl::unexpected(document.error());
    const xml::Element root = document->root();
    Import import(company, context);
    if (root.name() == list) {
        for (xml::Element element = root.child(item); element && !context.isStopped(); element = element.next(item))
            take(element, import);
    } else if (mayBeSingle && root.name() == item) {
        take(root, import);
    }
    QuillonObject::saveWithErrorReporting(context);
    return {};
}

} // namespace model
