#pragma once

#include "skin/FlatButton.h"

#include <QUrl>

namespace skin {

/// A title that opens a web page in the user's browser, or triggers whatever else it is connected to.
class LinkButton final : public FlatButton
{
    Q_OBJECT
public:
    explicit LinkButton(QWidget* parent) : LinkButton(QString(), parent) {}
    explicit LinkButton(const QString& title, QWidget* parent = nullptr);

    /// Its address; also its tool tip.
    void setLink(const QUrl& link);
    const QUrl& link() const { return m_link; }
    void goToWebsite();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void resetCursorRects() { setCursor(Qt::PointingHandCursor); }

    QUrl m_link;
};

} // namespace skin
