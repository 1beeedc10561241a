#include "Arguments.h"

#include "Text.h"

#include <algorithm>

namespace client {

tl::expected<Arguments, std::string> Arguments::parse(const std::string& command, const std::vector<std::string>& words,
                                                      std::initializer_list<Option> known)
{
    Arguments parsed;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--") {
            parsed.words.insert(parsed.words.end(), words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
            break;
        }
        if (word.size() < 2 || word[0] != '-') {
            parsed.words.push_back(word);
            continue;
        }
        const bool isLong = word[1] == '-';
        const std::size_t end = isLong ? std::min(word.find('='), word.size()) : 2;
        const auto* option = std::ranges::find_if(known, [&](const Option& each) {
            return isLong ? word.substr(0, end) == each.name : word[1] == each.letter;
        });
        // "-nText", "--note=Text", or the next word.
        const std::string attached = word.substr(std::min(isLong ? end + 1 : end, word.size()));
        if (option == known.end() || (!option->value && end < word.size()))
            return tl::unexpected(filled(tr("there is no option \"%1\" of %2 (see quillon --help)"), {word, command}));
        if (!option->value) {
            parsed.options[option->name];
        } else if (end < word.size()) {
            parsed.options[option->name] = attached;
        } else if (++i < words.size()) {
            parsed.options[option->name] = words[i];
        } else {
            return tl::unexpected(filled(tr("%1 needs %2"), {word, tr(option->value)}));
        }
    }
    return parsed;
}

std::string Arguments::value(const std::string& option) const
{
    const auto found = options.find(option);
    return found == options.end() ? std::string() : found->second;
}

} // namespace client
