#pragma once

#include <QStringList>

#include <cstddef>
#include <memory>
#include <vector>

class MediaInfo;

// Uses the library as a host does.
namespace HostDecode {

std::shared_ptr<MediaInfo> Probe(QString const& path, bool isImage);
std::vector<std::shared_ptr<MediaInfo>> Probe(QStringList const& paths, bool isImage);

// Decodes all of each source, one session after the other, and keeps the last `window` pictures. Returns the number of
// pictures.
int DecodeAll(std::vector<std::shared_ptr<MediaInfo>> const& infos, size_t window);

// Decodes an image sequence on one thread per processor, each file on one of them.
int DecodeRow(std::vector<std::shared_ptr<MediaInfo>> const& infos, size_t window);

} // namespace HostDecode
