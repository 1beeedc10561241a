#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace client {

/// An option of a command. It has a value, or stands for itself.
struct Option
{
    const char* name;            ///< "--note"
    char letter = 0;             ///< 'n' for -n; 0: none
    const char* value = nullptr; ///< what it takes, for the message when that is missing; null: nothing
};

/// The words behind a command, taken apart: options in any place, "--" ends them. A word that is a negative number or a
/// lone "-" is no option.
struct Arguments
{
    std::vector<std::string> words;
    std::map<std::string, std::string> options; ///< by name; "" for those without a value

    /// Fails with a line for people.
    static tl::expected<Arguments, std::string> parse(const std::string& command, const std::vector<std::string>& words,
                                                      std::initializer_list<Option> known);

    bool has(const std::string& option) const { return options.contains(option); }
    /// Empty when it was not given.
    std::string value(const std::string& option) const;
};

} // namespace client
