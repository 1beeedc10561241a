#pragma once

#include "Bus.h"

#include <optional>

namespace client {

/// One line made from the running program's properties on the session bus, for bars and scripts.
class StatusText
{
public:
    /// The format, with "{project}" and the like in it (see docs/command-line.md). Fails with a sentence for people
    /// when a placeholder is unknown.
    static tl::expected<StatusText, std::string> parse(const std::string& format);

    /// The default: "1:05 running, Website, Design".
    StatusText() = default;

    /// `properties` are those of the bus interface; empty: the program is not running.
    std::string line(const Map& properties) const;

    /// The same as JSON, with the keys that Waybar reads ("text", "alt", "class", "tooltip") among others. The text
    /// follows the format, by default what the status item shows.
    std::string json(const Map& properties) const;

private:
    std::optional<std::string> m_format; ///< empty: the default
};

/// `quillon status`.
struct StatusCommand
{
    bool json = false;
    bool follow = false;
    StatusText text;

    /// The exit status. Follows until the reader of standard output is gone.
    int run(const Bus& bus) const;
};

} // namespace client
