#include "Parts.h"

#include <algorithm>
#include <optional>

namespace localservice {

namespace {

/// An attribute left out when empty.
std::optional<std::string> given(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

const std::string& idOf(const Field& field)
{
    return field.id.empty() ? field.name : field.id;
}

std::string cssClassOf(const Field& field)
{
    return (field.error.empty() ? "field " : "field wrong ") + field.cssClass;
}

void writeLabel(Html& html, const Field& field)
{
    const auto label = html.in("label", {{"for", idOf(field)}});
    html.text(field.label);
    if (field.optional)
        html.leaf("span", {{"class", "faint"}}, " (optional)");
}

void writeHelp(Html& html, const Field& field)
{
    if (!field.error.empty())
        html.leaf("p", {{"class", "error"}, {"id", idOf(field) + "-error"}}, field.error);
    if (!field.help.empty())
        html.leaf("p", {{"class", "help"}, {"id", idOf(field) + "-help"}}, field.help);
}

std::optional<std::string> describedBy(const Field& field)
{
    const std::string error = field.error.empty() ? "" : idOf(field) + "-error";
    const std::string help = field.help.empty() ? "" : idOf(field) + "-help";
    return given(error + (error.empty() || help.empty() ? "" : " ") + help);
}

/// In steps of 0.01 %, as a percentage: exact enough for the width of a bar.
std::string percent(Seconds part, Seconds whole)
{
    const auto hundredths = whole > 0 ? std::clamp<Seconds>(part * 10000 / whole, 0, 10000) : 0;
    const auto rest = std::to_string(hundredths % 100);
    return std::to_string(hundredths / 100) + (rest.size() < 2 ? ".0" : ".") + rest;
}

void writeShares(Html& html, const std::vector<Share>& shares, Seconds whole, bool upright)
{
    const auto picture = html.in("svg", {{"class", upright ? "bar upright" : "bar"},
                                         {"viewBox", "0 0 100 100"},
                                         {"preserveAspectRatio", "none"},
                                         {"aria-hidden", "true"},
                                         {"focusable", "false"}});
    html.leaf("rect", {{"class", "track"}, {"width", "100"}, {"height", "100"}}, {});
    Seconds before = 0;
    for (const auto& share : shares) {
        const auto size = percent(share.amount, whole);
        if (upright)
            html.leaf("rect",
                      {{"class", share.cssClass},
                       {"y", percent(whole - before - share.amount, whole)},
                       {"width", "100"},
                       {"height", size}},
                      {});
        else
            html.leaf("rect",
                      {{"class", share.cssClass}, {"x", percent(before, whole)}, {"width", size}, {"height", "100"}},
                      {});
        before += share.amount;
    }
}

} // namespace

void writeField(Html& html, const Field& field)
{
    const auto box = html.in("div", {{"class", cssClassOf(field)}});
    writeLabel(html, field);
    html.empty("input", {{"type", field.type},
                         {"id", idOf(field)},
                         {"name", field.name},
                         {"value", field.value},
                         {"autocomplete", field.autocomplete},
                         {"inputmode", given(field.inputMode)},
                         {"placeholder", given(field.placeholder)},
                         {"maxlength", given(field.longest > 0 ? std::to_string(field.longest) : std::string())},
                         {"min", given(field.fewest)},
                         {"max", given(field.most)},
                         {"required", field.required},
                         {"aria-invalid", given(field.error.empty() ? "" : "true")},
                         {"aria-describedby", describedBy(field)},
                         {"autofocus", field.autofocus}});
    writeHelp(html, field);
}

void writeHidden(Html& html, std::string_view name, const std::string& value)
{
    html.empty("input", {{"type", "hidden"}, {"name", name}, {"value", value}});
}

void writeProblem(Html& html, std::string_view message)
{
    html.leaf("p", {{"class", "problem"}, {"role", "alert"}}, message);
}

void writeTextArea(Html& html, const Field& field, int rows)
{
    const auto box = html.in("div", {{"class", cssClassOf(field)}});
    writeLabel(html, field);
    html.leaf("textarea",
              {{"id", idOf(field)},
               {"name", field.name},
               {"rows", rows},
               {"placeholder", given(field.placeholder)},
               {"maxlength", given(field.longest > 0 ? std::to_string(field.longest) : std::string())},
               {"required", field.required},
               {"aria-invalid", given(field.error.empty() ? "" : "true")},
               {"aria-describedby", describedBy(field)},
               {"autofocus", field.autofocus}},
              field.value);
    writeHelp(html, field);
}

void writeChoice(Html& html, const Field& field, const std::vector<Choice>& choices)
{
    const auto box = html.in("div", {{"class", cssClassOf(field)}});
    writeLabel(html, field);
    {
        const auto list = html.in("select", {{"id", idOf(field)},
                                             {"name", field.name},
                                             {"required", field.required},
                                             {"aria-invalid", given(field.error.empty() ? "" : "true")},
                                             {"aria-describedby", describedBy(field)},
                                             {"autofocus", field.autofocus}});
        for (auto choice = choices.begin(); choice != choices.end();) {
            const auto end =
                std::find_if(choice, choices.end(), [&](const auto& next) { return next.group != choice->group; });
            std::optional<Html::Element> group;
            if (!choice->group.empty())
                group.emplace(html.in("optgroup", {{"label", choice->group}}));
            for (; choice != end; ++choice)
                html.leaf("option", {{"value", choice->value}, {"selected", choice->value == field.value}},
                          choice->text);
        }
    }
    writeHelp(html, field);
}

void writeCheck(Html& html, const Check& check)
{
    const std::string id = check.id.empty() ? check.name + "-" + check.value : check.id;
    const auto box = html.in("div", {{"class", "check"}});
    html.empty("input", {{"type", "checkbox"},
                         {"id", id},
                         {"name", check.name},
                         {"value", check.value},
                         {"checked", check.checked},
                         {"aria-describedby", given(check.help.empty() ? "" : id + "-help")}});
    html.leaf("label", {{"for", id}}, check.label);
    if (!check.help.empty())
        html.leaf("p", {{"class", "help"}, {"id", id + "-help"}}, check.help);
}

void writeTable(Html& html, std::string_view caption, const std::vector<Column>& columns,
                const std::function<void()>& rows, const std::vector<std::string>& total)
{
    // A table too wide for a small screen scrolls within its box, by keyboard too.
    const auto box = html.in("div", {{"class", "table"}, {"role", "region"}, {"aria-label", caption}, {"tabindex", 0}});
    const auto table = html.in("table");
    html.leaf("caption", {{"class", "unseen"}}, caption);
    {
        const auto head = html.in("thead");
        const auto row = html.in("tr");
        for (const auto& column : columns) {
            const auto cell = html.in("th", {{"scope", "col"}, {"class", given(column.number ? "number" : "")}});
            if (column.quiet)
                html.leaf("span", {{"class", "unseen"}}, column.name);
            else
                html.text(column.name);
        }
    }
    {
        const auto body = html.in("tbody");
        rows();
    }
    if (total.empty())
        return;
    const auto foot = html.in("tfoot");
    const auto row = html.in("tr");
    for (std::size_t i = 0; i < total.size(); ++i) {
        if (i == 0)
            html.leaf("th", {{"scope", "row"}}, total[i]);
        else
            html.leaf("td", {{"class", given(i < columns.size() && columns[i].number ? "number" : "")}}, total[i]);
    }
}

void writeNumber(Html& html, std::string_view text)
{
    html.leaf("td", {{"class", "number"}}, text);
}

void writeBar(Html& html, const std::vector<Share>& shares, Seconds whole)
{
    writeShares(html, shares, whole, false);
}

void writeUprightBar(Html& html, const std::vector<Share>& shares, Seconds whole)
{
    writeShares(html, shares, whole, true);
}

void writeEmpty(Html& html, std::string_view text, std::string_view path, std::string_view linkText)
{
    const auto box = html.in("div", {{"class", "empty"}});
    html.leaf("p", text);
    if (!path.empty())
        html.leaf("a", {{"class", "button main"}, {"href", path}}, linkText);
}

Reply questionPage(const Visit& visit, const Question& question, const std::function<void(Html&)>& about)
{
    return page(visit, {question.title, question.section}, [&](Html& html) {
        const auto sheet = html.in("section", {{"class", "sheet question"}});
        if (about)
            about(html);
        html.leaf("p", question.text);
        const auto form = formTo(html, visit, question.action, "buttons");
        for (const auto& [name, value] : question.fields)
            writeHidden(html, name, value);
        html.leaf("button", {{"class", "danger"}}, question.yes);
        html.leaf("a", {{"class", "button"}, {"href", question.back}}, question.no);
    });
}

} // namespace localservice
