#pragma once

#include "Page.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

// What pages are made of: fields, tables, bars, questions. Their classes are listed at the top of style/base.css.

namespace localservice {

/// A field of a form: its label above it, help and error below, both tied to it for screen readers.
struct Field
{
    std::string name;
    std::string label;
    std::string value = {};
    std::string help = {};
    std::string error = {};    ///< why it was rejected; empty when it was not
    std::string type = "text"; ///< of the input element
    bool required = false;
    std::string id = {}; ///< the name when empty; for pages that have two fields of one name
    std::string autocomplete = "off";
    std::string inputMode = {};
    std::string placeholder = {};
    int longest = 0;           ///< maximum length in characters, 0: unlimited
    std::string cssClass = {}; ///< "short" for a few characters, "hours", "wide"
    bool autofocus = false;
    bool optional = false;   ///< the label says so
    std::string fewest = {}; ///< the least value that numbers and dates may have
    std::string most = {};
};

/// One choice of a list; a group's choices are consecutive.
struct Choice
{
    std::string value;
    std::string text;
    std::string group = {};
};

void writeField(Html& html, const Field& field);
/// A hidden value sent along with a form.
void writeHidden(Html& html, std::string_view name, const std::string& value);
/// Why a form as a whole was rejected.
void writeProblem(Html& html, std::string_view message);
/// The same for text of several lines.
void writeTextArea(Html& html, const Field& field, int rows = 3);
/// The same with a list to choose from; `field.value` is the current choice.
void writeChoice(Html& html, const Field& field, const std::vector<Choice>& choices);

/// A check box with its label after it.
struct Check
{
    std::string name;
    std::string label;
    bool checked = false;
    std::string value = "1";
    std::string help = {};
    std::string id = {}; ///< name and value when empty
};

void writeCheck(Html& html, const Check& check);

struct Column
{
    std::string name; ///< the column's heading, only for screen readers when `quiet`
    bool number = false;
    bool quiet = false;
};

/// A table with its caption (for screen readers), head, rows and, if there are any, the cells of a total. `rows` writes
/// a "tr" for each.
void writeTable(Html& html, std::string_view caption, const std::vector<Column>& columns,
                const std::function<void()>& rows, const std::vector<std::string>& total = {});
/// A cell whose digits align in columns.
void writeNumber(Html& html, std::string_view text);

/// A segment of a bar: its amount, and its class in the style sheet ("billable", "other", …).
struct Share
{
    Seconds amount = 0;
    std::string cssClass = "billable";
};

/// A bar filled by `shares` in proportion to `whole`. Hidden from screen readers: its number is beside it.
void writeBar(Html& html, const std::vector<Share>& shares, Seconds whole);
/// The same upright, filled from below.
void writeUprightBar(Html& html, const std::vector<Share>& shares, Seconds whole);

/// Shown in place of records while there are none, with how to begin; no link when `path` is empty.
void writeEmpty(Html& html, std::string_view text, std::string_view path = {}, std::string_view linkText = {});

/// A page that asks before something is deleted or archived.
struct Question
{
    std::string title;  ///< "Delete This Entry?"
    std::string text;   ///< what will happen
    std::string action; ///< where the answer yes is sent
    std::string yes = "Delete";
    std::string no = "Keep";
    std::string back; ///< the page that the answer no leads to
    Section section = Section::None;
    std::vector<std::pair<std::string, std::string>> fields = {}; ///< sent along, hidden
};

/// `about` shows the record in question.
Reply questionPage(const Visit& visit, const Question& question, const std::function<void(Html&)>& about = {});

} // namespace localservice
