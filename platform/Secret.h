#pragma once

#include <QByteArray>
#include <QString>

#include <cstring>
#include <memory>
#include <utility>

namespace platform {

/// Overwrites a string before freeing it, unless it is shared: then it is not ours alone to destroy.
template <class Text>
void wipe(Text& text)
{
    if (text.isDetached())
        explicit_bzero(text.data(), static_cast<std::size_t>(text.size()) * sizeof(*text.data()));
    text = Text();
}

/// A password, or bytes from which one can be read (`QString` or `QByteArray`). Copies share it, in any thread; the
/// last one overwrites it. A string taken out of it lives on its own.
template <class Text>
class Secret
{
public:
    Secret() = default;
    Secret(Text text)
    {
        if (text.isNull())
            return;
        // Its own buffer: what others hold they may keep for as long as they like.
        if (!text.isDetached())
            text = Text(text.constData(), text.size());
        m_text = std::shared_ptr<Text>(new Text(std::move(text)), [](Text* last) {
            wipe(*last);
            delete last;
        });
    }

    const Text& operator*() const
    {
        static const Text none;
        return m_text ? *m_text : none;
    }
    const Text* operator->() const { return &**this; }
    bool operator==(const Secret& other) const { return **this == *other; }

private:
    std::shared_ptr<const Text> m_text;
};

} // namespace platform
