#pragma once

#include <QString>

// Counts the errors that FFmpeg reports for as long as it lives. Its decoders mend a good deal of damage by guessing
// and tell of it in no other way. What is to be seen of the messages stays as it was. One at a time; any thread may
// report.
class FfmpegMessages
{
public:
    FfmpegMessages();
    ~FfmpegMessages();
    FfmpegMessages(FfmpegMessages const&) = delete;
    FfmpegMessages& operator=(FfmpegMessages const&) = delete;

    int GetErrorCount() const;
    QString GetFirstError() const; // without a line's end; empty when there was none
};
