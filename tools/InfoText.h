#pragma once

#include <QString>

class Source;

// The description of a source for people: a few lines, the last one ended.
QString DescribeAsText(Source const& source);
