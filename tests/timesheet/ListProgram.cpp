// A window with a list of forty rows of different heights, to be looked at and used from outside.
#include "ListOnScreen.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("list-program"));
    std::vector<double> heights;
    for (int row = 0; row < 40; ++row)
        heights.push_back(65 + row % 3 * 14);
    ListOnScreen screen(heights, QSize(300, 400));
    screen.window.setWindowTitle(QStringLiteral("List"));
    screen.list.setAccessibleName(QStringLiteral("Entries"));
    screen.list.setFocus();
    return QApplication::exec();
}
