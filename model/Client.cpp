#include "Client.h"

#include "Import.h"

namespace model {

tl::expected<void, XmlError> Client::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(std::move(utf8), company, context, "clients", "client", [](xml::Element element, Import& import) {
        auto& client = import.findOrCreateById<Client>(element.descendant("id").text());
        client.setName(element.descendant("name").unescapedText());
        client.setValue("isActive", element.descendant("active").isTrue());
    });
}

} // namespace model
