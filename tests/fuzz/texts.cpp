#include "Fuzz.h"

#include "localservice/NameText.h"
#include "localservice/Report.h"
#include "localservice/RequestBody.h"
#include "localservice/XmlWriter.h"
#include "model/Xml.h"
#include "service/Base64.h"

// What people write: it arrives at the other side as it was, whichever side wrote it.
void takeIn(std::string_view text)
{
    std::string plain;
    for (auto rest = text; const auto next = localservice::nextCharacter(rest);)
        plain += next->bytes;
    localservice::XmlWriter writer;
    writer.open("request");
    writer.text("notes", text);
    writer.close();
    const auto answer = model::xml::Document::parse(QByteArray::fromStdString(writer.document()));
    MUST(answer && answer->root().child("notes").text().toStdString() == plain);

    model::xml::Body body("request");
    body.addChild("notes", fuzz::string(plain));
    const auto sent = localservice::RequestBody::read(body.toPrettyXml().toStdString(), "request");
    MUST(sent && sent->field("notes") == plain);

    const std::string name = localservice::nameText(text);
    MUST(localservice::nameText(name) == name && name.find('\n') == std::string::npos);

    std::string cell = localservice::csvCell(plain);
    if (cell.starts_with('"')) {
        MUST(cell.size() > 1 && cell.ends_with('"'));
        cell = cell.substr(1, cell.size() - 2);
    } else {
        MUST(cell.find_first_of("\",\r\n") == std::string::npos);
    }
    MUST(cell.empty() || std::string_view("=+-@\t\r").find(cell.front()) == std::string_view::npos);

    const QByteArray bytes = fuzz::bytes(text);
    MUST(service::decodeBase64WithNewlines(service::encodeBase64WithNewlines(bytes, false), false) == bytes);
}
