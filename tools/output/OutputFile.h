#pragma once

class QSaveFile;
class QString;

// The files that the commands write.
namespace OutputFile {

// Opens it for writing. False with a sentence in `error`, also for a device or a pipe: to be replaced as a whole, as a
// file is, does not suit them.
bool Open(QSaveFile& file, QString& error);

} // namespace OutputFile
