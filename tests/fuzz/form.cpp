#include "Fuzz.h"

#include "localservice/EntryFields.h"
#include "localservice/RequestBody.h"
#include "pages/Form.h"

namespace {

void check(const tl::expected<localservice::EntryFields, localservice::Problem>& fields)
{
    if (!fields)
        return;
    MUST(!fields->project || *fields->project >= 0);
    MUST(!fields->task || *fields->task >= 0);
    MUST(!fields->day || fields->day->ok());
    MUST(!fields->hours || (*fields->hours >= 0 && *fields->hours < 3e6));
    MUST(!fields->startedAt || (*fields->startedAt >= 0 && *fields->startedAt < 24 * 60));
    MUST(!fields->endedAt || (*fields->endedAt >= 0 && *fields->endedAt < 24 * 60));
}

} // namespace

// Entries as forms and as programs send them.
void takeIn(std::string_view text)
{
    const auto form = localservice::Form::read(text);
    std::string again;
    for (const auto& [name, value] : form.fields()) {
        for (const unsigned char c : name + value)
            MUST(c >= ' ' || c == '\t' || c == '\n');
        again += localservice::urlEncoded(name) + '=' + localservice::urlEncoded(value) + '&';
    }
    MUST(localservice::Form::read(again).fields() == form.fields());
    check(localservice::EntryFields::read(form));
    if (const auto body = localservice::RequestBody::read(std::string(text), "request"))
        check(localservice::EntryFields::read(*body));
}
