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

/// "12-7": the project and the task as a form sends them.
std::string bookingText(Id project, Id task);

/// What a person may book: active projects that they are assigned to, with the active tasks offered there.
class Bookings final
{
public:
    /// With so many projects or fewer all are listed where one is chosen; with more, those that were used lately.
    static constexpr int FewProjects = 30;

    Bookings(Storage& storage, const Person& person) : m_storage(storage), m_person(person) {}

    struct List
    {
        std::vector<Booking> bookings; ///< by client, project and task
        bool whole = true;             ///< false when there are projects that it leaves out
    };

    /// What is put up for choice; `chosen` ("12-7") is in it if it may be booked.
    tl::expected<List, Problem> atHand(const std::string& chosen);
    /// Those on projects whose code, name or client have all the words of `words`, of `FewProjects` projects at most.
    tl::expected<List, Problem> find(std::string_view words);
    /// What was booked last, by the order in which entries were made; empty when it may not be booked any more.
    tl::expected<std::string, Problem> last();

private:
    Storage& m_storage;
    const Person& m_person;
};

} // namespace localservice
