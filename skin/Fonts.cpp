#include "skin/Fonts.h"

#include <QFontMetricsF>
#include <QPainter>

#include <clocale>

#include <fontconfig/fontconfig.h>

using namespace Qt::StringLiterals;

namespace skin {

namespace {

QStringList families()
{
    return {u"Inter"_s, u"Liberation Sans"_s, u"DejaVu Sans"_s};
}

} // namespace

QFont interfaceFont(int points, QFont::Weight weight)
{
    QFont font;
    font.setFamilies(families());
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(points);
    font.setWeight(weight);
    // Hinted advances are whole pixels, and differ from one scale to the next.
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

QFont widgetFont(QFont ofDesktop)
{
    if (QStringList{u"sans"_s, u"sans serif"_s, u"sans-serif"_s}.contains(ofDesktop.family(), Qt::CaseInsensitive))
        ofDesktop.setFamilies(families());
    return ofDesktop;
}

FontPreparation::FontPreparation()
{
    // Before the thread reads numbers; that the application does the same then changes nothing.
    std::setlocale(LC_ALL, "");
    // The toolkit removes this variable while the thread reads others, which must not move: it becomes the last one.
    constexpr const char* startupId = "DESKTOP_STARTUP_ID";
    if (const QByteArray id = qgetenv(startupId); !id.isNull()) {
        qunsetenv(startupId);
        qputenv(startupId, id);
    }
    // What is read stays for the whole process, where the toolkit finds it.
    m_thread = std::thread([] { FcInit(); });
}

QSizeF TextAttributes::sizeOf(const QString& text) const
{
    const QFontMetricsF metrics(font);
    return {metrics.horizontalAdvance(text), metrics.height()};
}

void TextAttributes::draw(QPainter& painter, QPointF topLeft, const QString& text) const
{
    painter.setFont(font);
    painter.setPen(foreground);
    painter.drawText(topLeft + QPointF(0, QFontMetricsF(font).ascent()), text);
}

} // namespace skin
