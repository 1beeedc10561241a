#include "HttpClient.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <curl/curl.h>

using namespace Qt::StringLiterals;

struct HttpClient::Handle
{
    CURL* easy = curl_easy_init();
    ~Handle() { curl_easy_cleanup(easy); }
};

namespace {

size_t appendBody(char* data, size_t size, size_t count, void* to)
{
    static_cast<QByteArray*>(to)->append(data, static_cast<qsizetype>(size * count));
    return size * count;
}

size_t addHeader(char* data, size_t size, size_t count, void* to)
{
    const auto line = QString::fromUtf8(data, static_cast<qsizetype>(size * count));
    if (const auto colon = line.indexOf(u':'); colon > 0)
        (*static_cast<QMap<QString, QString>*>(to))[line.left(colon).toLower()] = line.mid(colon + 1).trimmed();
    return size * count;
}

} // namespace

QStringList Answer::texts(const QString& element) const
{
    QStringList found;
    QXmlStreamReader xml(body);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == element)
            found += xml.readElementText(QXmlStreamReader::IncludeChildElements);
    }
    return xml.hasError() ? QStringList{u"malformed"_s} : found;
}

QString Answer::row(const QString& elements) const
{
    QStringList all;
    for (const auto& element : elements.split(u' '))
        all += texts(element).join(u' ');
    return all.join(u'|');
}

QString Answer::root() const
{
    QXmlStreamReader xml(body);
    return xml.readNextStartElement() ? xml.name().toString() : QString();
}

HttpClient::HttpClient(const QString& baseUrl, const QString& email, const QString& password)
    : m_handle(std::make_unique<Handle>()), m_baseUrl(baseUrl),
      m_credentials(email.isEmpty() ? QByteArray() : (email + u':' + password).toUtf8())
{
}

HttpClient::~HttpClient() = default;

Answer HttpClient::send(const QByteArray& method, const QString& target, const QByteArray& body,
                        const QStringList& headers)
{
    Answer answer;
    CURL* easy = m_handle->easy;
    curl_easy_reset(easy);
    curl_easy_setopt(easy, CURLOPT_URL, (m_baseUrl + target).toUtf8().constData());
    if (!m_credentials.isEmpty())
        curl_easy_setopt(easy, CURLOPT_USERPWD, m_credentials.constData());
    curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, 60'000L);
    if (!trusted.isEmpty())
        curl_easy_setopt(easy, CURLOPT_CAINFO, trusted.toUtf8().constData());
    if (!source.isEmpty())
        curl_easy_setopt(easy, CURLOPT_INTERFACE, source.toUtf8().constData());
    curl_easy_setopt(easy, CURLOPT_MAX_RECV_SPEED_LARGE, curl_off_t(speed));
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, appendBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, addHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &answer.headers);
    curl_slist* list = curl_slist_append(nullptr, "Expect:");
    for (const auto& header : headers)
        list = curl_slist_append(list, header.toUtf8().constData());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, list);
    if (method == "POST" || !body.isEmpty()) {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.constData());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    }
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.constData());
    // Its answer has a length and no body.
    if (method == "HEAD")
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    answer.error = curl_easy_perform(easy);
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    answer.status = static_cast<int>(status);
    long connections = 0;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connections);
    answer.connections = static_cast<int>(connections);
    curl_slist_free_all(list);
    return answer;
}

QByteArray requestBody(const QString& fields, const QString& root)
{
    QByteArray body;
    QXmlStreamWriter xml(&body);
    xml.writeStartDocument();
    xml.writeStartElement(root);
    for (const auto& field : fields.split(u' ', Qt::SkipEmptyParts))
        xml.writeTextElement(field.section(u'=', 0, 0), field.section(u'=', 1).replace(u'_', u' '));
    xml.writeEndDocument();
    return body;
}
