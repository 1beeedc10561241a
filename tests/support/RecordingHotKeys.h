#pragma once

#include "platform/HotKeys.h"
#include "platform/Run.h"

#include <map>

namespace support {

/// Hot keys that a test presses, and a desktop that answers as the test says.
class RecordingHotKeys final : public platform::HotKeys
{
public:
    void setHandlers(std::function<void(int)> pressed, std::function<void()> statusChanged) override
    {
        m_pressed = std::move(pressed);
        m_statusChanged = std::move(statusChanged);
    }

    std::unique_ptr<Registration> registerHotKey(const HotKey& key) override
    {
        return std::make_unique<Held>(*this, key);
    }

    void setPaused(bool now) override { paused = now; }
    void setMayAsk(bool may) override { mayAsk = may; }
    std::optional<bool> couldBeHad(const HotKey& /*key*/) override { return free; }

    /// The person presses the combination. False when nobody has registered it.
    bool press(QKeyCombination keys)
    {
        for (const auto& [id, key] : registered) {
            if (key.keys == keys && statusOf(id).state == State::Registered && !paused) {
                platform::Run::current().postToMain([this, id = id] { m_pressed(id); });
                return true;
            }
        }
        return false;
    }

    /// The desktop makes up its mind about a key.
    void setStatus(int id, const Status& status)
    {
        m_statuses[id] = status;
        platform::Run::current().postToMain([this] { m_statusChanged(); });
    }

    /// What is registered now, by id.
    std::map<int, HotKey> registered;
    /// How many registrations there have been.
    int registrations = 0;
    bool paused = false;
    bool mayAsk = true;
    /// Whether another key could be had. Empty: nobody can tell.
    std::optional<bool> free;
    /// The status of every key for which nothing else was set.
    Status answer{State::Registered, {}};

private:
    class Held final : public Registration
    {
    public:
        Held(RecordingHotKeys& owner, const HotKey& key) : m_owner(owner), m_id(key.id)
        {
            Q_ASSERT(!owner.registered.contains(key.id));
            owner.registered[key.id] = key;
            ++owner.registrations;
        }
        ~Held() override { m_owner.registered.erase(m_id); }
        Status status() const override { return m_owner.statusOf(m_id); }

    private:
        RecordingHotKeys& m_owner;
        const int m_id;
    };

    Status statusOf(int id) const
    {
        const auto found = m_statuses.find(id);
        return found == m_statuses.end() ? answer : found->second;
    }

    std::function<void(int)> m_pressed;
    std::function<void()> m_statusChanged;
    std::map<int, Status> m_statuses;
};

} // namespace support
