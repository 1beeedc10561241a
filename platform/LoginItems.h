#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace platform {

/// The person's list of programs that the desktop starts when they log in. Any thread, one at a time.
class LoginItems
{
public:
    /// One entry of a snapshot.
    struct Item
    {
        QString name; ///< tells it from the others

        bool operator==(const Item&) const = default;
    };

    virtual ~LoginItems() = default;

    /// Adds a program, given by the path of its executable. One already listed is not listed twice. False when the list
    /// cannot be written.
    virtual bool insert(const QString& program, const QStringList& arguments = {}) = 0;

    /// What the list holds now, of all programs. Empty when it cannot be opened; a list without items is not empty.
    virtual std::optional<std::vector<Item>> snapshot() const = 0;

    /// The path of the executable that the item starts. Empty when it starts none or is gone.
    virtual std::optional<QString> resolve(const Item& item) const = 0;

    /// Removes the item; others stay as they are. False when that cannot be done.
    virtual bool remove(const Item& item) = 0;
};

} // namespace platform
