#pragma once

#include <cstddef>
#include <iterator>

namespace localservice {

/// Goes through a file's bytes and counts its lines, for parsers that say only where in the file they are.
class LineCounter
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCounter(const char* at, std::size_t& line) : m_at(at), m_line(&line) {}

    reference operator*() const { return *m_at; }
    LineCounter& operator++()
    {
        *m_line += *m_at == '\n' ? 1 : 0;
        ++m_at;
        return *this;
    }
    bool operator==(const LineCounter& other) const { return m_at == other.m_at; }
    bool operator!=(const LineCounter& other) const { return m_at != other.m_at; }

private:
    const char* m_at;
    std::size_t* m_line;
};

} // namespace localservice
