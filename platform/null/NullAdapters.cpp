#include "NullAdapters.h"

#include "../LoopbackNames.h"
#include "../Run.h"

#include <QCursor>
#include <QMenu>

namespace platform {

SecretStore::Result<std::optional<QByteArray>> NullSecretStore::lookup(const QString&, const QString&)
{
    return tl::unexpected(Failure::NoService);
}

void NullSecretStore::unlockAndLookup(const QString&, const QString&,
                                      std::function<void(Result<std::optional<QByteArray>>)> done)
{
    Run::current().postToMain([done] { done(tl::unexpected(Failure::NoService)); });
}

SecretStore::Result<void> NullSecretStore::store(const QString&, const QString&, const QByteArray&, Stored)
{
    return tl::unexpected(Failure::NoService);
}

SecretStore::Result<void> NullSecretStore::remove(const QString&, const QString&)
{
    return tl::unexpected(Failure::NoService);
}

std::unique_ptr<Reachability::Watch> NullReachability::watch(const QString& host, std::function<void(bool)> changed)
{
    if (!isLoopbackName(host))
        return nullptr;
    changed(true);
    return std::make_unique<Watch>();
}

std::unique_ptr<HotKeys::Registration> NullHotKeys::registerHotKey(const HotKey&)
{
    class Nothing final : public Registration
    {
        Status status() const override { return {State::Unavailable, {}}; }
    };
    return std::make_unique<Nothing>();
}

void NullStatusItem::popUpMenu(QMenu& menu)
{
    menu.popup(QCursor::pos());
}

} // namespace platform
