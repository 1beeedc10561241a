#pragma once

#include <QTabWidget>

namespace preferences {

/// Pages behind a row of pictures with titles, centred along the window's top edge. A tab's picture is named by its
/// page's property "picture", and has the colour of the text.
class TabView final : public QTabWidget
{
    Q_OBJECT
public:
    explicit TabView(QWidget* parent = nullptr);

    /// From now on the pages, which are all there, scroll where there is no room for them.
    void scrollPages();
    /// How large it may become, in points.
    void setRoom(QSize room);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace preferences
