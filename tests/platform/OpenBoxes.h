#pragma once

#include <QApplication>
#include <QMessageBox>

/// The alerts on the screen; with a title only those that have it.
inline QList<QMessageBox*> openBoxes(const QString& title = {})
{
    QList<QMessageBox*> boxes;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(window);
        if (box && box->isVisible() && (title.isEmpty() || box->text() == title))
            boxes << box;
    }
    return boxes;
}

/// Null unless it is one.
inline QMessageBox* openBox(const QString& title = {})
{
    const auto boxes = openBoxes(title);
    return boxes.size() == 1 ? boxes.first() : nullptr;
}
