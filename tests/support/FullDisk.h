#pragma once

#include <QString>

// Begins a line of shell whose programs can write files of at most so many KiB, as on a full disk. SIGXFSZ, which would
// end a program before it could report the error, is ignored. In a build for coverage the limit would cut off the
// counts as well, to which no later program could add its own, so there they go nowhere.
inline QString OnFullDisk(int kibibytes)
{
    int const blocks = 2 * kibibytes; // of 512 bytes, by POSIX
    return QStringLiteral("export GCOV_PREFIX=/dev/null; trap '' XFSZ; ulimit -f %1; ").arg(blocks);
}
