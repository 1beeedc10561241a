#pragma once

#include "skin/FocusRing.h"

#include <QAbstractButton>
#include <QUrl>

namespace skin {

/// A title that opens a web page in the person's browser.
class LinkButton final : public QAbstractButton
{
    Q_OBJECT
public:
    explicit LinkButton(const QString& title = {}, QWidget* parent = nullptr);

    /// Where it leads; also its tool tip.
    void setLink(const QUrl& link);
    const QUrl& link() const { return m_link; }
    void goToWebsite();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void resetCursorRects();

    QUrl m_link;
    FocusRing m_ring;
};

} // namespace skin
