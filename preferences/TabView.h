#pragma once

#include <QTabWidget>

namespace preferences {

/// Pages behind a row of pictures with titles, in the middle of the window's top edge. A tab's picture is the one
/// that its page names in the property "picture", in the colour of the text.
class TabView final : public QTabWidget
{
    Q_OBJECT
public:
    explicit TabView(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace preferences
