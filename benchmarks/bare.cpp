// The least program with the libraries of Quillon: initialises each and paints a face of 71×22 points. Those that Quillon
// loads later, or in a process of its own for the keyring, are here from the start.
#include <libsecret/secret.h>

#include <QApplication>
#include <QDBusConnection>
#include <QFile>
#include <QPainter>
#include <QSvgRenderer>
#include <QWidget>

#include <curl/curl.h>
#include <libxml/parser.h>
#include <openssl/crypto.h>
#include <sqlite3.h>
#include <unicode/smpdtfmt.h>

#include <csignal>

namespace {

class Face final : public QWidget
{
public:
    Face() : m_artwork(QStringLiteral(BARE_ARTWORK))
    {
        setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_ShowWithoutActivating);
        setFixedSize(71, 22);
        m_artwork.setViewBox(QRectF(0, 0, 71, 22));
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(0x2f, 0x2f, 0x2f));
        m_artwork.render(&painter, rect());
        QFont font;
        font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Liberation Sans"), QStringLiteral("DejaVu Sans")});
        font.setPixelSize(11);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("-:--"));
    }

private:
    QSvgRenderer m_artwork;
};

} // namespace

int main(int argc, char** argv)
{
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int) { std::_Exit(0); });
    QApplication application(argc, argv);

    const QDBusConnection bus = QDBusConnection::sessionBus();
    curl_global_init(CURL_GLOBAL_DEFAULT);
    xmlInitParser();
    OPENSSL_init_crypto(0, nullptr);
    sqlite3* database = nullptr;
    sqlite3_open(":memory:", &database);
    UErrorCode status = U_ZERO_ERROR;
    const icu::SimpleDateFormat format(icu::UnicodeString("yyyy-MM-dd"), icu::Locale::getUS(), status);
    g_type_ensure(SECRET_TYPE_SERVICE);
    g_type_ensure(G_TYPE_NETWORK_MONITOR);

    Face face;
    face.show();
    return bus.isConnected() && database && U_SUCCESS(status) ? QApplication::exec() : 1;
}
