#include "Fuzz.h"

#include "Account.h"

#include "model/Client.h"
#include "model/Project.h"
#include "model/Task.h"
#include "model/TaskAssignment.h"
#include "model/UserAssignment.h"

namespace {

tl::expected<void, model::XmlError> whoAmI(QByteArray xml, model::Company&, store::Context& context)
{
    return model::Company::buildCompanyWithSubdomain(QStringLiteral("acme"), xml, context).map([](auto*) {});
}

} // namespace

// The account's description and the lists of its catalog: each import takes what is its own and leaves the rest.
void takeIn(std::string_view text)
{
    static Account account;
    const QByteArray xml = fuzz::bytes(text);
    for (const model::XmlImport import :
         {&whoAmI, &model::Client::parseXml, &model::Project::parseXml, &model::Task::parseXml, &model::User::parseXml,
          &model::UserAssignment::parseXml, &model::TaskAssignment::parseXml}) {
        if (!account.import(import, xml))
            return;
        const QStringList known = account.contents();
        account.import(import, xml);
        MUST(account.contents() == known);
    }
    account.forget();
}
