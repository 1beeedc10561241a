#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace localservice {

/// An attribute of an element. `true` makes one without a value; `false` or nothing leaves it out.
struct Attribute
{
    Attribute(std::string_view key, std::string_view text) : name(key), value(text) {}
    Attribute(std::string_view key, const char* text) : name(key), value(text) {}
    Attribute(std::string_view key, const std::string& text) : name(key), value(text) {}
    Attribute(std::string_view key, const std::optional<std::string>& text)
        : name(key), value(text.value_or(std::string())), present(text.has_value())
    {
    }
    Attribute(std::string_view key, std::same_as<bool> auto there) : name(key), present(there), alone(true) {}
    template <std::integral Number>
    requires(!std::same_as<Number, bool>) Attribute(std::string_view key, Number number)
        : name(key), value(std::to_string(number))
    {
    }

    std::string_view name; ///< a literal of ours, never foreign text
    std::string value = {};
    bool present = true;
    bool alone = false;
};

using Attributes = std::initializer_list<Attribute>;

/// Writes HTML element by element. Text and attribute values are always escaped: there is no way to write a string as
/// markup.
class Html final
{
public:
    /// An element that stays open during this object's lifetime.
    class [[nodiscard]] Element
    {
    public:
        ~Element()
        {
            if (m_html)
                m_html->close();
        }
        Element(Element&& other) noexcept : m_html(std::exchange(other.m_html, nullptr)) {}
        Element& operator=(Element&&) = delete;

    private:
        friend class Html;
        explicit Element(Html& html) : m_html(&html) {}
        Html* m_html;
    };

    /// Opens an element: `const auto list = html.in("ul", {{"class", "plain"}});`
    Element in(std::string_view tag, Attributes attributes = {});
    /// A whole element containing only text.
    void leaf(std::string_view tag, Attributes attributes, std::string_view text);
    void leaf(std::string_view tag, std::string_view text) { leaf(tag, {}, text); }
    /// A void element: input, br, meta, link.
    void empty(std::string_view tag, Attributes attributes = {});
    void text(std::string_view text);

    /// What was written; complete when every element is closed.
    const std::string& document() const { return m_document; }

private:
    void start(std::string_view tag, Attributes attributes);
    void close();

    std::string m_document = "<!DOCTYPE html>\n";
    std::vector<std::string> m_open;
};

} // namespace localservice
