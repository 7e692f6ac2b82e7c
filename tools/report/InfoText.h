#pragma once

#include <QString>

class MediaSource;

// The description of a source for people: a few lines, the last one ended.
QString DescribeAsText(MediaSource const& source);
