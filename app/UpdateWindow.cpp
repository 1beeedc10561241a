#include "app/UpdateWindow.h"

#include "platform/Desktop.h"
#include "platform/Run.h"
#include "platform/SystemEnvironment.h"
#include "skin/Fonts.h"
#include "skin/ImageView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace app {

using namespace Qt::StringLiterals;

namespace {

constexpr int IconSize = 64;
constexpr QSize NotesSize(460, 180);
constexpr QSize ButtonRoom(20, 4);

QLabel* label(const QString& text, const QFont& font)
{
    auto* made = new QLabel(text);
    made->setTextFormat(Qt::PlainText);
    made->setFont(font);
    made->setWordWrap(true);
    return made;
}

} // namespace

UpdateWindow::UpdateWindow(const AppcastItem& item, const QString& thisVersion)
{
    setObjectName("Update"_L1);
    setWindowTitle(tr("Software Update"));

    auto* icon = new skin::ImageView(skin::imageNamed("quillon.png"), {IconSize, IconSize});
    auto* heading = label(tr("Quillon %1 Is Available").arg(item.displayName), skin::interfaceFont(15, QFont::Bold));
    heading->setObjectName("headingField"_L1);
    auto* versions = label(tr("You have Quillon %1. The download page is at %2.").arg(thisVersion, item.page.host()),
                           skin::interfaceFont(13));
    versions->setObjectName("versionsField"_L1);
    versions->setToolTip(item.page.toDisplayString().toHtmlEscaped());

    auto* notesLabel = label(tr("What Is New:"), skin::interfaceFont(12, QFont::Bold));
    auto* notes = new QPlainTextEdit(item.plainNotes());
    notes->setObjectName("notesField"_L1);
    notes->setReadOnly(true);
    notes->setTabChangesFocus(true);
    notes->setFont(skin::interfaceFont(12));
    notes->setMinimumSize(NotesSize);
    notes->document()->setDocumentMargin(8);
    notes->setAccessibleName(tr("What is new"));
    notesLabel->setBuddy(notes);
    if (notes->document()->isEmpty()) {
        notesLabel->hide();
        notes->hide();
    }

    auto* skip = new QPushButton(tr("Skip This Version"));
    skip->setObjectName("skipButton"_L1);
    auto* later = new QPushButton(tr("Remind Me Later"));
    later->setObjectName("laterButton"_L1);
    auto* getIt = new QPushButton(tr("Show Download Page"));
    getIt->setObjectName("getItButton"_L1);
    getIt->setDefault(true);
    for (QPushButton* button : {skip, later, getIt}) {
        button->setFont(skin::interfaceFont(13));
        button->setMinimumSize(button->sizeHint() + ButtonRoom);
    }
    connect(later, &QPushButton::clicked, this, &QDialog::close);
    connect(skip, &QPushButton::clicked, this, [this] {
        close();
        onSkip();
    });
    connect(getIt, &QPushButton::clicked, this, [this] {
        close();
        onGetIt();
    });

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addWidget(skip);
    buttons->addStretch();
    buttons->addSpacing(24);
    buttons->addWidget(later);
    buttons->addWidget(getIt);

    auto* text = new QVBoxLayout;
    text->setSpacing(0);
    text->addWidget(heading);
    text->addSpacing(6);
    text->addWidget(versions);
    text->addSpacing(14);
    text->addWidget(notesLabel);
    text->addSpacing(6);
    text->addWidget(notes, 1);
    text->addSpacing(18);
    text->addLayout(buttons);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(22, 20, 22, 18);
    row->setSpacing(18);
    row->addWidget(icon, 0, Qt::AlignTop);
    row->addLayout(text, 1);
    getIt->setFocus();
}

void UpdateWindow::present(bool asked)
{
    setAttribute(Qt::WA_ShowWithoutActivating, !asked);
    if (asked) {
        platform::environment().desktop().bringForward(*this);
        return;
    }
    show();
    raise();
}

} // namespace app
