#pragma once

#include "Form.h"
#include "Html.h"
#include "Http.h"
#include "NameText.h"
#include "Person.h"
#include "Problem.h"

#include <functional>
#include <string>
#include <string_view>

namespace localservice {

class Storage;

/// A request from a signed-in person.
struct Visit
{
    const Request& request;
    Storage& storage;
    Person person;
    Seconds now = 0;
    std::string session;   ///< the key of the session, which never appears in a page
    std::string formToken; ///< every form of the session carries it
    Form query;
    Form form;                  ///< the fields sent; already known to come from a page of this session
    bool withinProgram = false; ///< the desktop program runs this service, and needs no advice to find it
};

/// The section of the site that a page belongs to, marked in the navigation.
enum class Section
{
    None,
    Timesheet,
    Projects,
    Tasks,
    People,
    Reports,
    Account,
};

struct Head
{
    std::string title; ///< of the window and the page: "Projects"
    Section section = Section::None;
    int status = 200;
    std::function<void(Html&)> actions = {}; ///< links and forms beside the heading
    std::string upPath = {};                 ///< the page above this one
    std::string upName = {};                 ///< and its name: "Projects"
};

/// A page in the site's frame: navigation, heading, what happened last, and the content.
Reply page(const Visit& visit, const Head& head, const std::function<void(Html&)>& content);
/// The same for people who are not signed in: no navigation.
Reply plainPage(const Head& head, const std::function<void(Html&)>& content);

/// A page that says why something is not possible.
Reply problemPage(const Visit& visit, const Problem& problem);
Reply notFoundPage(const Visit& visit);

/// Redirects the browser after a form was carried out (303). `note` names a line of `notes()` in Frame.cpp for the next
/// page to show; empty: none.
Reply goTo(std::string target, std::string_view note = {});

/// Opens a form that changes something: method POST, with the session's token.
Html::Element formTo(Html& html, const Visit& visit, std::string_view action, std::string_view cssClass = {});

/// "/daily/65/2024", the page of a day.
std::string dayPath(Day day);

} // namespace localservice
