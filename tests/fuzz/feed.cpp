#include "Fuzz.h"

#include "app/Appcast.h"

#include <QGuiApplication>

// The list of newer versions: what is offered can be named, compared, shown as plain text and opened in a browser.
void takeIn(std::string_view text)
{
    [[maybe_unused]] static const bool isUnseen = qputenv("QT_QPA_PLATFORM", "minimal");
    static int count = 1;
    static char name[] = "feed";
    static char* arguments[] = {name, nullptr};
    static const QGuiApplication application(count, arguments);

    const auto newest = app::Appcast::newest(fuzz::bytes(text));
    if (!newest || !*newest)
        return;
    const app::AppcastItem& item = **newest;
    MUST(item.page.scheme() == u"https" || item.page.scheme() == u"http");
    MUST(!item.page.host().isEmpty() && item.page.userInfo().isEmpty());
    MUST(!item.displayName.isEmpty() && item.displayName.size() <= 64 && !item.displayName.contains(u'\n'));
    MUST(app::Appcast::compareVersions(item.version, item.version) == 0);
    const int order = app::Appcast::compareVersions(item.version, item.displayName);
    MUST((order < 0) == (app::Appcast::compareVersions(item.displayName, item.version) > 0));
    MUST(!item.plainNotes().contains(QChar::ObjectReplacementCharacter));
}
