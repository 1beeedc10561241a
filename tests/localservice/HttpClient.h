#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>

/// What came back: a transport error code of libcurl (0 for none), or a reply.
struct Answer
{
    int error = 0;
    int status = 0;
    int connections = 0; ///< made for it: 0 when one that was kept has served
    QByteArray body;
    QMap<QString, QString> headers; ///< names in lower case

    /// The texts of all elements of that name, in document order; only "malformed" when the body is not XML.
    QStringList texts(const QString& element) const;
    QString text(const QString& element) const { return texts(element).value(0); }
    /// The texts of these elements, whose names are separated by blanks: "7|true|" where the third is not there.
    QString row(const QString& elements) const;
    QString root() const;
};

/// An HTTP client that shares nothing with the service: libcurl, one connection kept open. One thread at a time.
class HttpClient
{
public:
    QString trusted; ///< a file of certificates that the service may prove itself with; those of the system if empty
    QString source;  ///< the address of this machine that it speaks from
    int speed = 0;   ///< the bytes a second that it takes at most; 0 for any number

    /// Sends no credentials when `email` is empty.
    HttpClient(const QString& baseUrl, const QString& email, const QString& password);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    Answer get(const QString& target) { return send("GET", target); }
    Answer post(const QString& target, const QByteArray& body) { return send("POST", target, body); }
    Answer send(const QByteArray& method, const QString& target, const QByteArray& body = {},
                const QStringList& headers = {});

private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
    QString m_baseUrl;
    QByteArray m_credentials;
};

/// The body of an add or update request with fields such as "hours=1.5 notes=two_words": an underscore in a value
/// stands for a blank.
QByteArray requestBody(const QString& fields, const QString& root = QStringLiteral("request"));
