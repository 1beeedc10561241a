#pragma once

#include "skin/QuillonStatusItemView.h"
#include "skin/StatusItemOwner.h"

#include <QStringList>

/// Keeps what the view asked for, and how its highlight stood then.
struct RecordingOwner final : skin::StatusItemOwner
{
    void toggleStatusItemMenu() override
    {
        calls << QStringLiteral("menu, highlight %1").arg(view && view->clicked() ? u"on" : u"off");
        if (view && highlightOnMenu)
            view->setClicked(true);
    }
    void toggleCurrentTimer(QObject* sender) override
    {
        calls << (sender == view ? QStringLiteral("toggle") : QStringLiteral("toggle by another"));
    }

    skin::QuillonStatusItemView* view = nullptr;
    /// Behave like the controller that opens the menu.
    bool highlightOnMenu = false;
    QStringList calls;
};

/// A shown view of that width and the owner it talks to.
struct ViewOnScreen
{
    explicit ViewOnScreen(double width = 71) : view(QRectF(0, 0, width, 22), owner)
    {
        owner.view = &view;
        view.setWindowFlags(Qt::FramelessWindowHint);
        view.setAttribute(Qt::WA_TranslucentBackground);
        view.show();
        static_cast<void>(QTest::qWaitForWindowExposed(&view));
    }

    /// The view as a screen of that ratio shows it.
    QImage picture(double ratio = 1)
    {
        QImage image((QSizeF(view.size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(ratio);
        image.fill(Qt::transparent);
        view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
        return image;
    }

    RecordingOwner owner;
    skin::QuillonStatusItemView view;
};
