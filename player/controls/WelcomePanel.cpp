#include "player/controls/WelcomePanel.h"

#include "player/controls/Theme.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int panelWidth = 520;
constexpr int maxFiles = 6;
constexpr char const* styleRules = R"(
    QPushButton { border: none; border-radius: 4px; padding: 6px 10px; color: #92959a; }
    QPushButton:hover { background: #1b1c1e; color: #dedfe1; }
    QPushButton#open { background: #2b2d30; color: #dedfe1; padding: 8px 18px; }
    QPushButton#open:hover { background: #3a3c40; }
)";

QLabel* MakeLabel(QWidget* parent, QColor const& colour, int pixels)
{
    auto* label = new QLabel(parent);
    QFont font = label->font();
    font.setPixelSize(pixels);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

} // namespace

WelcomePanel::WelcomePanel(QWidget* parent) : QWidget(parent)
{
    setStyleSheet(styleRules);
    heading = MakeLabel(this, Theme::text, 20);
    heading->setText("Drop a movie, sound, picture or folder here");
    message = MakeLabel(this, Theme::warning, 14);
    auto* open = new QPushButton("Open…  Ctrl+O", this);
    open->setObjectName("open");
    open->setFocusPolicy(Qt::NoFocus);
    connect(open, &QPushButton::clicked, this, &WelcomePanel::OpenRequested);
    files = new QVBoxLayout;
    files->setSpacing(2);

    auto* column = new QVBoxLayout;
    column->setSpacing(18);
    column->addStretch(3);
    column->addWidget(message);
    column->addWidget(heading);
    column->addWidget(open, 0, Qt::AlignHCenter);
    column->addLayout(files);
    column->addStretch(4);
    auto* row = new QHBoxLayout(this);
    row->addStretch(1);
    row->addLayout(column);
    row->addStretch(1);
    heading->setFixedWidth(panelWidth);
    message->setFixedWidth(panelWidth);
}

void WelcomePanel::Show(QString const& newMessage, QStringList const& recentFiles)
{
    message->setText(newMessage);
    message->setVisible(!newMessage.isEmpty());
    while (QLayoutItem* item = files->takeAt(0)) {
        item->widget()->deleteLater();
        delete item;
    }
    for (QString const& path : recentFiles.mid(0, maxFiles)) {
        auto* button = new QPushButton(this);
        button->setText(button->fontMetrics().elidedText(path, Qt::ElideMiddle, panelWidth - 24));
        button->setToolTip(path);
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QPushButton::clicked, this, [this, path] { emit FileRequested(path); });
        files->addWidget(button);
    }
    show();
    raise();
}

QString WelcomePanel::GetMessage() const
{
    return message->text();
}
