#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

/// What the service must hold: its rules once more, plainly, from what people did and which of it arrived.
class Ledger
{
public:
    using Id = std::int64_t;
    using Seconds = std::int64_t;

    struct Entry
    {
        int account = 0;
        Id project = 0;
        Id task = 0;
        std::string day; ///< "2013-01-15"
        std::string notes;
        Seconds booked = 0;
        std::optional<Seconds> runsSince;
        Seconds updated = 0;
        bool locked = false;

        Seconds total(Seconds now) const { return booked + (runsSince && now > *runsSince ? now - *runsSince : 0); }
        bool operator==(const Entry&) const = default;
    };

    /// What a person wants of the service, with the words they see.
    struct Wish
    {
        enum Kind
        {
            Add,
            Toggle,
            Update,
            Delete,
            Correct
        } kind = Toggle;
        Id id = 0;        ///< none for a new entry
        Entry entry{};    ///< of a new entry: all but its times
        int minutes = -1; ///< typed; -1: none
        std::optional<std::string> notes{};
        double hours = 0;  ///< those that a correction leaves
        Seconds known = 0; ///< when the corrected entry was last seen
    };

    /// One request has reached the service.
    void apply(const Wish& wish, Seconds now);

    std::map<Id, Entry> entries;
    bool archived = false; ///< no time may be booked

    /// "2:05" as windows write it, for any of the seconds that rounding on the way may make of these.
    static bool shows(const std::string& text, Seconds seconds);
    /// The local day of that moment, "2013-01-15".
    static std::string dayOf(Seconds moment);

private:
    void stop(Entry& entry, Seconds now);
    void run(Id id, Seconds now);
    void touch(Entry& entry, Seconds now);

    Id m_last = 0;
};
