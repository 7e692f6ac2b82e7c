#pragma once

class QCommandLineParser;
class QString;

// The option -o of the commands that write a file.
namespace OutputOption {

void Add(QCommandLineParser& parser, QString const& valueName);
QString Value(QCommandLineParser const& parser); // empty when it is not given

} // namespace OutputOption
