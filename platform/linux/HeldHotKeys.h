#pragma once

#include "../HotKeys.h"

#include <map>
#include <utility>

namespace platform {

/// Keeps track of registrations, for implementations that need only the key of each.
class HeldHotKeys : public HotKeys
{
public:
    void setHandlers(std::function<void(int)> pressed, std::function<void()> statusChanged) final
    {
        m_pressed = std::move(pressed);
        m_statusChanged = std::move(statusChanged);
    }
    std::unique_ptr<Registration> registerHotKey(const HotKey& key) final
    {
        Q_ASSERT(!m_keys.contains(key.id));
        m_keys[key.id] = key;
        keysChanged();
        return std::make_unique<Held>(*this, key.id);
    }

protected:
    virtual void keysChanged() = 0;
    virtual Status statusOf(int id) const = 0;

    std::function<void(int)> m_pressed;
    std::function<void()> m_statusChanged;
    std::map<int, HotKey> m_keys; ///< by id

private:
    class Held final : public Registration
    {
    public:
        Held(HeldHotKeys& owner, int id) : m_owner(owner), m_id(id) {}
        ~Held() override
        {
            m_owner.m_keys.erase(m_id);
            m_owner.keysChanged();
        }
        Status status() const override { return m_owner.statusOf(m_id); }

    private:
        HeldHotKeys& m_owner;
        const int m_id;
    };
};

} // namespace platform
