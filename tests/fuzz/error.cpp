#include "Fuzz.h"

#include "service/QuillonError.h"

// What the service says when it refuses: one line of plain text.
void takeIn(std::string_view text)
{
    const auto error = service::QuillonError::parseXml(fuzz::bytes(text));
    if (!error) {
        MUST(!error.error().text.isEmpty());
    } else if (*error) {
        const QString& message = (*error)->localizedDescription;
        MUST(!message.contains(u'\n') && !message.contains(QStringLiteral("  ")));
        const qsizetype open = message.indexOf(QStringLiteral("<b"));
        MUST(open < 0 || !message.mid(open).contains(u'>'));
    }
}
