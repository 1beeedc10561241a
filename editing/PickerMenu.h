#pragma once

#include "editing/TextFields.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>

#include <optional>
#include <vector>

namespace skin {
class ThinScroller;
}

namespace editing {

/// The pull-down menu of a picker: items in groups, each below its header, the chosen one checked. It looks, sounds and
/// works like any menu, but has no object for each item and lays out only those that are seen, so that one of thousands
/// opens at once.
///
/// It takes half of the screen at most and scrolls. Typed letters lead to the next item that begins with them. Long
/// titles are elided and have a tool tip.
class PickerMenu final : public QAbstractScrollArea
{
    Q_OBJECT
public:
    struct Item
    {
        QString title;
        std::optional<qint64> tag; ///< none: a header, which cannot be chosen
    };

    PickerMenu(Look look, QWidget* parent);

    const std::vector<Item>& items() const { return m_items; }
    void clear();
    void addHeader(const QString& title) { m_items.push_back({title, {}}); }
    void addItem(const QString& title, qint64 tag) { m_items.push_back({title, tag}); }

    /// The tag of the items that are marked.
    void setChecked(std::optional<qint64> tag);
    bool isChecked(const Item& item) const { return item.tag && item.tag == m_checked; }

    /// Opens below the field, or above where there is more room, with the marked item highlighted. Nothing without
    /// items.
    void popUp(const QWidget& field);
    /// What is highlighted; -1: nothing.
    int activeItem() const { return m_active; }
    /// Closes and emits `triggered`. No effect on a header.
    void trigger(int item);

    /// In the viewport's coordinates.
    QRect itemRect(int item) const;
    int itemAt(QPoint point) const; ///< -1: none

signals:
    void triggered(qint64 tag);
    void aboutToHide();

protected:
    bool event(QEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    int count() const { return static_cast<int>(m_items.size()); }
    const Item& at(int item) const { return m_items[static_cast<std::size_t>(item)]; }
    int widthOfItems() const;
    void updateScrollBar();
    void setActiveItem(int item);
    void moveTo(int item, int direction);
    void scrollTo(int item);
    void search(const QKeyEvent& key);
    void drawItem(QPainter& painter, int item) const;

    std::vector<Item> m_items;
    std::optional<qint64> m_checked;
    int m_active = -1;
    QPoint m_openedAt;    ///< where the pointer was then
    bool m_aimed = false; ///< it has been moved or pressed since: it was not just lying there
    QString m_typed;
    quint64 m_typedAt = 0;
    QBasicTimer m_dragScroll;
    int m_dragDirection = 0;
    skin::ThinScroller* m_scroller;
};

} // namespace editing
