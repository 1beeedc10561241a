#include "Fuzz.h"

#include "Account.h"

#include "model/DayEntry.h"

// Day sheets, single entries and reports, as the program takes them in.
void takeIn(std::string_view text)
{
    static Account account;
    const QByteArray xml = fuzz::bytes(text);
    if (!account.import(&model::DayEntry::parseXml, xml))
        return;
    // The first time locks what stands in for unknown projects and tasks. From then on the same sheet says the same.
    account.import(&model::DayEntry::parseXml, xml);
    const QStringList known = account.contents();
    account.import(&model::DayEntry::parseXml, xml);
    MUST(account.contents() == known);
    account.forget();
}
