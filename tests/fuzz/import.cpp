#include "Fuzz.h"

#include "localservice/AccountFile.h"
#include "localservice/Sheet.h"

#include "pages/Upload.h"

#include <algorithm>

using namespace localservice;

namespace {

void check(const Incoming& incoming)
{
    for (const auto& project : incoming.projects)
        MUST(project.client == Incoming::None || project.client < incoming.clients.size());
    for (const auto& offer : incoming.offers)
        MUST(offer.project < incoming.projects.size() && offer.task < incoming.tasks.size());
    for (const auto& entry : incoming.entries) {
        MUST(entry.project < incoming.projects.size() && entry.task < incoming.tasks.size());
        MUST(entry.person == Incoming::None || entry.person < incoming.people.size());
        MUST(entry.seconds >= 0 && entry.day.ok());
        MUST(!entry.startedAt || (*entry.startedAt >= 0 && *entry.startedAt < 24 * 60));
        MUST(!entry.endedAt || (*entry.endedAt >= 0 && *entry.endedAt < 24 * 60));
        MUST(std::none_of(entry.notes.begin(), entry.notes.end(), [](char c) { return c == '\0' || c == '\x1b'; }));
    }
}

} // namespace

// Files that somebody imports, and the form that carries them.
void takeIn(std::string_view text)
{
    const auto file = utf8Of(text);
    if (const auto account = readAccountFile(file))
        check(*account);
    if (const auto sheet = recognise(file)) {
        auto meaning = guess(file, *sheet);
        for (const auto order : {DateOrder::YearFirst, DateOrder::DayFirst, DateOrder::MonthFirst}) {
            meaning.order = order;
            const auto incoming = readSheet(file, *sheet, meaning, true);
            MUST(incoming.has_value()); // it was read once
            check(*incoming);
        }
    }
    Request request{"POST", "/data/import", {{"Content-Type", "multipart/form-data; boundary=b"}}, std::string(text)};
    const auto upload = readUpload(request);
    MUST(upload.file.size() <= text.size());
}
