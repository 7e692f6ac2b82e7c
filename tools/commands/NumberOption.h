#pragma once

#include <QString>

class QCommandLineParser;

// An option that is a whole number.
namespace NumberOption {

// Leaves `number` as it is when the option is not given. False, having said what is allowed, when the value is no
// number or not from `least` to `most`.
bool Take(QCommandLineParser const& parser, QString const& option, int least, int most, int& number);

} // namespace NumberOption
