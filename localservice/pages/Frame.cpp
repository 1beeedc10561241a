#include "Assets.h"
#include "Page.h"
#include "RemovalPages.h"

#include <array>
#include <chrono>
#include <optional>

namespace localservice {

namespace {

struct Note
{
    std::string_view name;
    std::string_view text;
};

// The address contains only its name, so that no link can put words into our mouth.
constexpr std::array Notes{
    Note{"saved", "Saved."},
    Note{"added", "Added."},
    Note{"deleted", "Deleted."},
    Note{"archived", "Archived. Its hours are kept, and no new ones can be added."},
    Note{"restored", "Restored."},
    Note{"back", "It is back."},
    Note{"imported", "Imported. You can undo it below as a whole."},
    Note{"undone", "Undone. What was made is deleted; what has been used for other time has stayed."},
    Note{"data-restored", "Restored. What was there before is kept as a copy."},
    Note{"person-archived", "Archived. They can no longer sign in; their hours are kept."},
};

struct Place
{
    Section section;
    std::string_view path;
    std::string_view name;
};

constexpr std::array Places{
    Place{Section::Timesheet, "/daily", "Timesheet"}, Place{Section::Projects, "/projects", "Projects"},
    Place{Section::Tasks, "/tasks", "Tasks"},         Place{Section::People, "/people", "People"},
    Place{Section::Reports, "/reports", "Reports"},
};

std::string nameOf(const Person& person)
{
    const std::string name =
        person.firstName + (person.firstName.empty() || person.lastName.empty() ? "" : " ") + person.lastName;
    return name.empty() ? person.email : name;
}

std::optional<std::string> marked(bool current)
{
    return current ? std::optional<std::string>("page") : std::nullopt;
}

void writeNote(Html& html, const Visit& visit, std::string_view text)
{
    const auto removal = removalIn(visit);
    if (!removal) {
        html.leaf("p", {{"class", "note"}, {"role", "status"}}, text);
        return;
    }
    const auto box = html.in("div", {{"class", "note with-button"}});
    html.leaf("p", {{"role", "status"}}, text);
    writeBringBack(html, visit, *removal, "small");
}

void writeHeading(Html& html, const Head& head)
{
    if (!head.upPath.empty()) {
        const auto up = html.in("p", {{"class", "up"}});
        html.leaf("a", {{"href", head.upPath}}, "‹ " + head.upName);
    }
    const auto heading = html.in("div", {{"class", "heading"}});
    html.leaf("h1", head.title);
    if (!head.actions)
        return;
    const auto actions = html.in("div", {{"class", "actions"}});
    head.actions(html);
}

void writeHead(Html& html, const Head& head)
{
    const auto element = html.in("head");
    html.empty("meta", {{"charset", "utf-8"}});
    html.empty("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
    html.empty("meta", {{"name", "color-scheme"}, {"content", "light dark"}});
    html.leaf("title", head.title + " – Quillon");
    html.empty("link", {{"rel", "icon"}, {"type", "image/svg+xml"}, {"href", assetPath("icon.svg")}});
    html.empty("link", {{"rel", "stylesheet"}, {"href", assetPath("style.css")}});
}

void writeNavigation(Html& html, const Visit& visit, Section here)
{
    const auto header = html.in("header", {{"class", "site"}});
    {
        const auto brand = html.in("a", {{"class", "brand"}, {"href", "/daily"}});
        html.empty("img", {{"src", assetPath("icon.svg")}, {"alt", ""}, {"width", 28}, {"height", 28}});
        html.text("Quillon");
    }
    {
        const auto navigation = html.in("nav", {{"aria-label", "Site"}});
        const auto list = html.in("ul");
        for (const auto& place : Places) {
            if (place.section == Section::People && !visit.person.admin)
                continue;
            const auto item = html.in("li");
            html.leaf("a", {{"href", place.path}, {"aria-current", marked(place.section == here)}}, place.name);
        }
    }
    const auto who = html.in("div", {{"class", "who"}});
    html.leaf("a", {{"href", "/account"}, {"aria-current", marked(here == Section::Account)}}, nameOf(visit.person));
    const auto form = formTo(html, visit, "/sign-out");
    html.leaf("button", {{"class", "quiet"}}, "Sign Out");
}

Reply asReply(int status, const Html& html)
{
    return {status, html.document(), {{"Content-Type", "text/html; charset=utf-8"}}};
}

} // namespace

std::string assetPath(std::string_view name)
{
    for (const auto& asset : assets()) {
        if (asset.name.ends_with(name))
            return "/assets/" + asset.name;
    }
    return "/assets/";
}

Reply page(const Visit& visit, const Head& head, const std::function<void(Html&)>& content)
{
    Html html;
    {
        const auto root = html.in("html", {{"lang", "en"}});
        writeHead(html, head);
        const auto body = html.in("body");
        html.leaf("a", {{"class", "skip"}, {"href", "#content"}}, "Skip to content");
        writeNavigation(html, visit, head.section);
        const auto main = html.in("main", {{"id", "content"}, {"tabindex", -1}});
        for (const auto& note : Notes) {
            if (visit.query.text("note") == note.name)
                writeNote(html, visit, note.text);
        }
        writeHeading(html, head);
        content(html);
    }
    return asReply(head.status, html);
}

Reply plainPage(const Head& head, const std::function<void(Html&)>& content)
{
    Html html;
    {
        const auto root = html.in("html", {{"lang", "en"}});
        writeHead(html, head);
        const auto body = html.in("body", {{"class", "plain"}});
        const auto main = html.in("main", {{"id", "content"}});
        {
            const auto brand = html.in("div", {{"class", "brand"}});
            html.empty("img", {{"src", assetPath("icon.svg")}, {"alt", "Quillon"}, {"width", 64}, {"height", 64}});
            html.leaf("h1", head.title);
        }
        content(html);
    }
    return asReply(head.status, html);
}

Reply problemPage(const Visit& visit, const Problem& problem)
{
    return page(visit, {"That Did Not Work", Section::None, problem.status},
                [&](Html& html) { html.leaf("p", problem.message); });
}

Reply notFoundPage(const Visit& visit)
{
    return page(visit, {"Not Found", Section::None, 404}, [&](Html& html) {
        html.leaf("p", "There is nothing at this address.");
        const auto paragraph = html.in("p");
        html.leaf("a", {{"href", "/daily"}}, "Go to today’s timesheet");
    });
}

Reply goTo(std::string target, std::string_view note)
{
    if (!note.empty())
        (target += target.find('?') == std::string::npos ? "?note=" : "&note=") += note;
    return Reply{303, {}, {{"Location", std::move(target)}}};
}

Html::Element formTo(Html& html, const Visit& visit, std::string_view action, std::string_view cssClass)
{
    Html::Element form = html.in("form", {{"method", "post"}, {"action", action}, {"class", cssClass}});
    html.empty("input", {{"type", "hidden"}, {"name", "token"}, {"value", visit.formToken}});
    return form;
}

std::string dayPath(Day day)
{
    using namespace std::chrono;
    const auto number = (sys_days(day) - sys_days(day.year() / January / 1)).count() + 1;
    return "/daily/" + std::to_string(number) + "/" + std::to_string(static_cast<int>(day.year()));
}

} // namespace localservice
