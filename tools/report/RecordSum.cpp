#include "tools/report/RecordSum.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QtEndian>

#include <vector>

namespace {

QString Hexadecimal(QCryptographicHash const& hash)
{
    return QString::fromLatin1(hash.result().toHex());
}

QByteArray View(void const* bytes, int size)
{
    return QByteArray::fromRawData(static_cast<char const*>(bytes), size);
}

} // namespace

QString RecordSum::Of(DecodedVideoFrame const& record)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    int const rowBytes = 3 * record.width;
    int const stride = (rowBytes + 3) / 4 * 4;
    for (int row = 0; row < record.height; ++row)
        hash.addData(View(record.data + static_cast<size_t>(row) * static_cast<size_t>(stride), rowBytes));
    return Hexadecimal(hash);
}

QString RecordSum::Of(DecodedAudioFrame const& record)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    std::vector<short> samples(static_cast<size_t>(record.sampleCount));
    qToLittleEndian<short>(record.samples, record.sampleCount, samples.data());
    hash.addData(View(samples.data(), record.sampleCount * static_cast<int>(sizeof(short))));
    return Hexadecimal(hash);
}
