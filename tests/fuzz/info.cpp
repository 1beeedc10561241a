#include "Fuzz.h"

#include "platform/InfoDictionary.h"

#include <QFile>
#include <QTemporaryDir>

#include <cmath>

using namespace Qt::StringLiterals;

// The tuning values: a file with a fault is refused in one line, any other leaves each value of its kind.
void takeIn(std::string_view text)
{
    static const QTemporaryDir folder;
    const QString path = folder.filePath(u"Info.json"_s);
    QFile file(path);
    MUST(file.open(QIODevice::WriteOnly) && file.write(fuzz::bytes(text)) >= 0);
    file.close();

    const auto info = platform::InfoDictionary::load(path);
    if (!info) {
        MUST(info.error().startsWith(path) && !info.error().contains(u'\n'));
        return;
    }
    MUST(std::isfinite(info->number("QuillonIdleMinutes"_L1)));
    MUST(!info->string("QuillonServiceDomain"_L1).isNull() && !info->string("SUFeedURL"_L1).isNull());
}
