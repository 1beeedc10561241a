#include "skin/Appearance.h"

#include <QApplication>
#include <QStyle>
#include <QWidget>

#include <utility>

namespace skin {

namespace {

class Wardrobe final : public QObject
{
    Q_OBJECT
public:
    static Wardrobe& shared()
    {
        static Wardrobe wardrobe;
        return wardrobe;
    }

    Appearance present;

signals:
    void changed();
};

} // namespace

const Appearance& appearance()
{
    return Wardrobe::shared().present;
}

void setAppearance(const Appearance& appearance)
{
    Wardrobe& wardrobe = Wardrobe::shared();
    if (std::exchange(wardrobe.present, appearance) == appearance)
        return;
    emit wardrobe.changed();
    for (QWidget* widget : QApplication::allWidgets())
        widget->update();
}

void dressed(QObject& owner, std::function<void()> dress)
{
    dress();
    QObject::connect(&Wardrobe::shared(), &Wardrobe::changed, &owner, std::move(dress));
}

int movingTime(const QWidget& widget, int milliseconds)
{
    const bool moves =
        !appearance().still && widget.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &widget) > 0;
    return moves ? milliseconds : 0;
}

} // namespace skin

#include "Appearance.moc"
