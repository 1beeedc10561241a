#include "skin/AboutController.h"

#include "skin/Fonts.h"
#include "skin/ImageView.h"
#include "skin/LinkButton.h"

#include "platform/Desktop.h"
#include "platform/InfoDictionary.h"
#include "platform/Run.h"

#include <QCoreApplication>
#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace skin {
namespace {

constexpr int IconSize = 96;

QString tr(const char* text)
{
    return QCoreApplication::translate("AboutController", text);
}

QLabel* line(const QString& text, const QFont& font)
{
    auto* made = new QLabel(text);
    made->setTextFormat(Qt::PlainText);
    made->setAlignment(Qt::AlignCenter);
    made->setFont(font);
    return made;
}

} // namespace

AboutController::AboutController()
{
    loadWindow();
    windowDidLoad();
}

AboutController::~AboutController() = default;

void AboutController::show()
{
    // Otherwise the first link would have the focus, and glow before the keyboard is used.
    if (!m_window->isVisible())
        m_window->setFocus();
    platform::environment().desktop().bringForward(*m_window);
}

void AboutController::loadWindow()
{
    m_window = std::make_unique<QDialog>();
    m_window->setObjectName("About"_L1);
    m_window->setWindowTitle(tr("About Quillon"));

    auto* icon = new ImageView(imageNamed("quillon.png"), {IconSize, IconSize});
    m_versionField = line({}, interfaceFont(12));
    m_versionField->setObjectName("versionField"_L1);
    m_versionField->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_tosButton = new LinkButton(tr("Terms of Service"));
    m_tosButton->setObjectName("tosButton"_L1);
    m_ppButton = new LinkButton(tr("Privacy Policy"));
    m_ppButton->setObjectName("ppButton"_L1);

    auto* links = new QHBoxLayout;
    links->setSpacing(20);
    links->addStretch();
    links->addWidget(m_tosButton);
    links->addWidget(m_ppButton);
    links->addStretch();

    auto* column = new QVBoxLayout(m_window.get());
    column->setContentsMargins(56, 28, 56, 24);
    column->setSpacing(0);
    column->setSizeConstraint(QLayout::SetFixedSize);
    column->addWidget(icon, 0, Qt::AlignHCenter);
    column->addSpacing(12);
    column->addWidget(line(tr("Quillon"), interfaceFont(24, QFont::Bold)));
    column->addSpacing(2);
    column->addWidget(m_versionField);
    column->addSpacing(18);
    column->addLayout(links);
    column->addSpacing(18);
    column->addWidget(line(tr("Made by Wrenfold"), interfaceFont(11)));
}

void AboutController::windowDidLoad()
{
    const platform::InfoDictionary& info = platform::Run::current().environment().info();
    m_tosButton->setLink(QUrl(info.string("QuillonTermsURL"_L1)));
    m_ppButton->setLink(QUrl(info.string("QuillonPrivacyURL"_L1)));
    m_versionField->setText(tr("Version %1").arg(info.string("CFBundleVersion"_L1)));
}

} // namespace skin
