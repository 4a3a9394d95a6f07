#ifndef TQLPLAY_AUDIO_OUT_H
#define TQLPLAY_AUDIO_OUT_H

// Where the audio of a playback goes: a file, or stdout for "-". A file
// that is not there yet is made, and one that is there is emptied, only
// when the first audio comes; a playback that fails to start leaves no
// empty file behind and an older file as it was.
#include <cstddef>
#include <string>

namespace tqlplay {

class AudioOut {
public:
    ~AudioOut();

    // Checks the target before anything is asked of the service. False,
    // told on stderr, when it cannot be written; stdout on a terminal is
    // refused as well (terminal() tells that case apart).
    bool open(const std::string& path);
    bool terminal() const { return m_terminal; }

    // All of it, or false; later writes then fail too. The caller tells
    // the error, which may come in the middle of a progress line.
    bool write(const unsigned char* data, size_t length);
    bool failed() const { return m_failed; }
    int error() const { return m_error; }
    bool wroteAny() const { return m_wrote; }

    // Closes; a file that this run made and never wrote to is removed.
    // False when a write failed, closing included.
    bool close();

    const std::string& name() const { return m_name; }

private:
    bool fail(int error);

    std::string m_path, m_name;
    int m_fd = -1;
    bool m_stdout = false, m_made = false, m_emptied = false;
    bool m_wrote = false, m_failed = false, m_terminal = false;
    int m_error = 0;
};

// For a second Ctrl-C, which ends the process at once: removes the file
// that this run made when nothing was written to it yet. Safe in a signal
// handler.
void removeUnwrittenOutput();

} // namespace tqlplay

#endif
