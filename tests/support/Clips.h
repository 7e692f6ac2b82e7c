#pragma once

#include <QJsonObject>
#include <QString>

// Real clips of cameras, phones and programs, kept beside the checkout.

bool HasClips();
QString ClipPath(QString const& name);

// What is known of each, by file name: see the notes beside the clips.
QJsonObject const& ClipFacts();
