#pragma once

#include "Parts.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace localservice {

/// A task on a project that somebody may book.
struct Booking
{
    Id project = 0;
    Id task = 0;
    std::string projectName; ///< with its code: "WEB – Website"
    std::string clientName;
    std::string taskName;
};

/// "12-7": project and task as sent by a form.
std::string bookingText(Id project, Id task);

/// What a person may book: active projects that they are assigned to, with the active tasks offered there.
class Bookings final
{
public:
    /// Up to this number a choice lists all projects; beyond it, those used recently.
    static constexpr int FewProjects = 30;

    Bookings(Storage& storage, const Person& person) : m_storage(storage), m_person(person) {}

    struct List
    {
        std::vector<Booking> bookings; ///< by client, project and task
        bool whole = true;             ///< false when there are projects that it leaves out
    };

    /// The choices to offer; includes `chosen` ("12-7") if it may be booked.
    tl::expected<List, Problem> atHand(const std::string& chosen);
    /// Those on projects whose code, name or client contain all the words of `words`, of `FewProjects` projects at
    /// most.
    tl::expected<List, Problem> find(std::string_view words);
    /// The most recently made entry's booking; empty when it may no longer be booked.
    tl::expected<std::string, Problem> last();

private:
    Storage& m_storage;
    const Person& m_person;
};

} // namespace localservice
