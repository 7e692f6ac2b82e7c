#include "player/controls/Theme.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

void Theme::Apply(QApplication& application)
{
    application.setStyle(QStyleFactory::create("Fusion"));
    QPalette palette;
    palette.setColor(QPalette::Window, panel);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, backdrop);
    palette.setColor(QPalette::AlternateBase, panel);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, raised);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, raised);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, quietText);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, backdrop);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Disabled, QPalette::Text, quietText);
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, quietText);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, quietText);
    application.setPalette(palette);
}
