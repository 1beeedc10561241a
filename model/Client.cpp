#include "Client.h"

#include "Company.h"
#include "ListImport.h"
#include "Project.h"

namespace model {

Company* Client::company() const
{
    return static_cast<Company*>(toOne("company"));
}

void Client::setCompany(Company* company)
{
    setToOne("company", company);
}

std::vector<Project*> Client::projects() const
{
    return members<Project>("projects");
}

tl::expected<void, XmlError> Client::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(std::move(utf8), context, "clients", "client", false, [&](xml::Element element) {
        auto& client = company.findOrCreateById<Client>(element.descendant("id").text(), context);
        client.setName(element.descendant("name").unescapedText());
        client.setIsActive(element.descendant("active").isTrue());
    });
}

} // namespace model
