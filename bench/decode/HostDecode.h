#pragma once

#include <QStringList>

#include <cstddef>
#include <memory>
#include <vector>

class MediaInfo;

// The library used as a host uses it.
namespace HostDecode {

std::shared_ptr<MediaInfo> Probe(QString const& path, bool isImage);
std::vector<std::shared_ptr<MediaInfo>> Probe(QStringList const& paths, bool isImage);

// Decodes all of each source, one session after the other, and keeps the last `window` pictures. How many pictures came
// out.
int DecodeAll(std::vector<std::shared_ptr<MediaInfo>> const& infos, size_t window);

// Decodes a row of images on as many threads as there are processors, each file by one of them.
int DecodeRow(std::vector<std::shared_ptr<MediaInfo>> const& infos, size_t window);

} // namespace HostDecode
