#pragma once

#include <QByteArray>
#include <QString>

#include <string_view>

/// Takes in one text from outside. Each target has one of its own; what is made once for all texts is static in it.
void takeIn(std::string_view text);

/// Ends the program unless `holds`, so that the fuzzer notices it as well as the replay.
#define MUST(holds) ((holds) ? void() : fuzz::broken(#holds, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] void broken(const char* statement, const char* file, int line);

/// A copy, ended by a zero as in the program: a reader that goes beyond it is noticed.
inline QByteArray bytes(std::string_view text)
{
    return {text.data(), static_cast<qsizetype>(text.size())};
}

inline QString string(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace fuzz
