#pragma once

#include "../LoginItems.h"

namespace platform {

/// Login items as desktop entries in the person's autostart folder (Desktop Application Autostart Specification 0.5,
/// Desktop Entry Specification 1.5). Each file there is an item; ours is `com.wrenfold.quillon.desktop`.
class AutostartItems final : public LoginItems
{
public:
    static bool available();

    AutostartItems();

    bool insert(const QString& program, const QStringList& arguments) override;
    std::optional<std::vector<Item>> snapshot() const override;
    std::optional<QString> resolve(const Item& item) const override;
    bool remove(const Item& item) override;

private:
    QString path(const QString& name) const;

    const QString m_folder;
};

} // namespace platform
