#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

struct sd_bus;
struct sd_bus_message;

namespace client {

/// Where the program is found on the session bus (docs/bus.md).
inline constexpr const char* BusName = "com.wrenfold.quillon";
inline constexpr const char* BusPath = "/com/wrenfold/quillon";
inline constexpr const char* QuillonInterface = "com.wrenfold.Quillon1";
inline constexpr const char* BookingsInterface = "com.wrenfold.Quillon1.Bookings";
inline constexpr const char* PropertiesInterface = "org.freedesktop.DBus.Properties";

/// A value of a map; those of other types are left out.
using Value = std::variant<std::string, bool, double, std::vector<std::string>>;
using Map = std::map<std::string, Value>;

/// Why a call failed: the error's name on the bus, and a text for people, of one line or more.
struct Failure
{
    std::string name;
    std::string reason;
};

struct Unref
{
    void operator()(sd_bus* bus) const;
    void operator()(sd_bus_message* message) const;
};
using Message = std::unique_ptr<sd_bus_message, Unref>;

/// The session bus. One per process.
class Bus
{
public:
    /// Fails with a sentence for people.
    static tl::expected<Bus, std::string> open();

    enum class Start
    {
        Never,
        IfNecessary,
    };

    /// Calls a method of the running program. `meanwhile` is called once, when the reply takes longer than a second.
    tl::expected<Message, Failure> call(const char* interface, const char* method,
                                        const std::function<void(sd_bus_message*)>& arguments,
                                        std::chrono::milliseconds patience, Start start = Start::Never,
                                        const std::function<void()>& meanwhile = {}) const;

    /// Whether the program is on the bus.
    bool isRunning() const;

    sd_bus* get() const { return m_bus.get(); }

private:
    explicit Bus(sd_bus* bus) : m_bus(bus) {}

    std::unique_ptr<sd_bus, Unref> m_bus;
};

// What is read from a reply, in its order. Empty when something else is there.

Map readMap(sd_bus_message& message);
std::vector<Map> readMaps(sd_bus_message& message);
std::vector<std::string> readStrings(sd_bus_message& message);

/// A string of the map; empty when there is none.
std::string text(const Map& map, const std::string& key);
bool flag(const Map& map, const std::string& key);

} // namespace client
