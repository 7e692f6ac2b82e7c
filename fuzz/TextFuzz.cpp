#include "fuzz/FuzzBytes.h"

#include "common/TimeText.h"
#include "source/ImageSequence.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

// Parses texts of the command line: times, and patterns of image sequences beside files of any names.

namespace {

constexpr int mostFiles = 6;

void Require(bool condition, char const* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

// The next text, up to a zero byte.
QString Text(FuzzBytes& bytes)
{
    QByteArray text;
    while (!bytes.IsOver()) {
        auto const byte = static_cast<char>(bytes.Byte());
        if (byte == 0)
            break;
        text += byte;
    }
    return QString::fromUtf8(text);
}

void ReadTime(FuzzBytes& bytes)
{
    auto const time = TimeText::Parse(Text(bytes));
    if (!time)
        return;
    Require(TimeText::Parse(QStringLiteral("%1us").arg(*time)) == time, "microseconds are read as written");
    Require(TimeText::Parse(TimeText::Seconds(*time)) == time, "seconds are read as written");
    Require(TimeText::Parse(TimeText::Clock(*time)) == *time / 1000 * 1000, "a clock is read as written");
    Require(TimeText::Parse(TimeText::ShortClock(*time, 6)) == time, "a short clock is read as written");
}

bool IsRowOf(QString const& prefix, QString const& suffix, QString const& name)
{
    return name.startsWith(prefix) && name.endsWith(suffix) && name.size() > prefix.size() + suffix.size();
}

void CheckSequence(ImageSequence const& sequence, QString const& pattern)
{
    QString const name = QFileInfo(pattern).fileName();
    int const sign = static_cast<int>(name.indexOf(QLatin1Char('%')));
    int const end = static_cast<int>(name.indexOf(QLatin1Char('d'), sign));
    long long index = 0;
    for (int i = 0; index < sequence.GetCount(); index = sequence.GetIndexAfter(index), ++i) {
        QString const file = sequence.GetFile(index);
        Require(i <= mostFiles && !file.isEmpty() && QFileInfo(file).isFile(), "what is found is there");
        Require(sequence.GetIndexUpTo(index) == index, "a file is the one at its own index");
        if (sign >= 0 && end > sign)
            Require(IsRowOf(name.left(sign), name.mid(end + 1), QFileInfo(file).fileName()), "a file fits the pattern");
    }
}

void FindSequence(FuzzBytes& bytes)
{
    QTemporaryDir const folder(QStringLiteral("/dev/shm/tavolin-fuzz-XXXXXX"));
    QString const pattern = folder.filePath(Text(bytes).remove(QLatin1Char('/')));
    for (int i = 0; i < mostFiles && !bytes.IsOver(); ++i) {
        QFile file(folder.filePath(Text(bytes).remove(QLatin1Char('/'))));
        if (file.open(QIODevice::WriteOnly))
            file.write("P6\n1 1\n255\n123"); // a valid image, so that a folder of them is an image sequence
    }
    ImageSequence::IsPattern(pattern);
    QString error;
    CheckSequence(ImageSequence::Find(pattern, SequenceHoles::Hold, error), pattern);
    ImageSequence::Find(pattern, SequenceHoles::Refuse, error);
    CheckSequence(ImageSequence::Find(folder.path(), SequenceHoles::Hold, error), QString());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzBytes bytes(data, size);
    if (bytes.Byte() % 2 == 0)
        ReadTime(bytes);
    else
        FindSequence(bytes);
    return 0;
}
