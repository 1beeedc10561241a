#include "Fuzz.h"

#include "settings/UserDefaults.h"

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

// The settings file, which people edit: nonsense reads as the default, and what is set is kept beside it.
void takeIn(std::string_view text)
{
    // Values that Qt would read as a stream of any type, at any size that it names. The program writes none.
    if (text.find("@Variant") != std::string_view::npos || text.find("@DateTime") != std::string_view::npos)
        return;
    static const QTemporaryDir folder;
    static int count = 0; // a file of the same name and size might be taken for the one before
    const QString path = folder.filePath(QString::number(++count));
    QFile file(path);
    MUST(file.open(QIODevice::WriteOnly) && file.write(fuzz::bytes(text)) >= 0);
    file.close();

    settings::UserDefaults defaults(path);
    defaults.registerDefaults({{"IdleMinutesThreshold"_L1, 10, 1, 1000}, {"BlinkColon"_L1, true}});
    const qint64 minutes = defaults.integerForKey("IdleMinutesThreshold"_L1);
    MUST(minutes >= 1 && minutes <= 1000);
    const bool blinks = defaults.boolForKey("BlinkColon"_L1);
    const QString company = defaults.stringForKey("Company"_L1);
    const QString email = fuzz::string(text.substr(0, text.find('\n')));
    defaults.setString("Email"_L1, email);
    if (defaults.synchronize()) {
        settings::UserDefaults again(path);
        again.registerDefaults({{"BlinkColon"_L1, true}});
        MUST(again.stringForKey("Email"_L1) == email);
        MUST(again.stringForKey("Company"_L1) == company && again.boolForKey("BlinkColon"_L1) == blinks);
    }
    QFile::remove(path);
}
