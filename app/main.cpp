#include "app/Application.h"
#include "app/BuiltInService.h"
#include "app/Complaint.h"
#include "app/WrenfoldMenulet.h"
#include "localservice/CoreDumps.h"
#include "platform/Memory.h"
#include "platform/Paths.h"

#include <QCoreApplication>
#include <QFile>

#include <dlfcn.h>

namespace {

/// Stands in where the module cannot be loaded, and says so.
class NoService final : public app::BuiltInService
{
public:
    explicit NoService(QString why) : m_why(std::move(why)) {}
    tl::expected<Account, QString> start(const QString& /*password*/, FileTrouble /*trouble*/) override
    {
        return tl::unexpected(m_why);
    }
    QUrl signedInLink(const QUrl& page) override { return page; }
    QString copiesInWords() const override { return {}; }

private:
    const QString m_why;
};

/// From its module, which lies beside the program.
std::unique_ptr<app::BuiltInService> builtInService()
{
    const QByteArray file = QFile::encodeName(QCoreApplication::applicationDirPath()) + "/quillon-local.so";
    void* const module = dlopen(file.constData(), RTLD_NOW | RTLD_LOCAL); // never closed: its threads may outlive it
    const auto make =
        module ? reinterpret_cast<app::BuiltInService::ModuleMaker>(dlsym(module, app::BuiltInService::ModuleFunction))
               : nullptr;
    if (!make)
        return std::make_unique<NoService>(QString::fromLocal8Bit(dlerror()));
    return std::unique_ptr<app::BuiltInService>(
        make({app::WrenfoldMenulet::directoryForDataStore(), platform::configFolder(), &app::complain}));
}

} // namespace

int main(int argc, char** argv)
{
    localservice::keepOutOfCoreDumps();
    platform::setUpHeap();
    return app::Application(&builtInService).run(argc, argv);
}
