#include "audio_out.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace tqlplay {

namespace {

// The file a signal handler may remove: set while it is made and empty.
char g_unwritten[PATH_MAX];
volatile sig_atomic_t g_unwrittenSet = 0;

} // namespace

void removeUnwrittenOutput()
{
    if (g_unwrittenSet)
        unlink(g_unwritten);
}

AudioOut::~AudioOut()
{
    if (m_fd >= 0)
        close();
}

bool AudioOut::open(const std::string& path)
{
    m_path = path;
    if (path == "-") {
        m_name = "stdout";
        m_stdout = true;
        m_fd = STDOUT_FILENO;
        if (isatty(m_fd)) {
            m_terminal = true;
            fprintf(stderr, "tqlplay: will not write audio to a terminal; redirect stdout or give --out FILE\n");
            return false;
        }
        if (fcntl(m_fd, F_GETFL) < 0) {
            fprintf(stderr, "tqlplay: cannot write stdout: %s\n", strerror(errno));
            m_fd = -1;
            return false;
        }
        return true;
    }
    m_name = path;
    // Made now, so that a bad path shows before the service is asked;
    // emptied only when audio comes, so that a failed start keeps an old file.
    m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (m_fd >= 0) {
        m_made = true;
        if (path.size() < sizeof g_unwritten) {
            memcpy(g_unwritten, path.c_str(), path.size() + 1);
            g_unwrittenSet = 1;
        }
        return true;
    }
    if (errno == EEXIST)
        m_fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (m_fd >= 0)
        return true;
    fprintf(stderr, "tqlplay: cannot write %s: %s\n", m_name.c_str(), strerror(errno));
    return false;
}

bool AudioOut::fail(int error)
{
    if (!m_failed)
        m_error = error;
    m_failed = true;
    return false;
}

bool AudioOut::write(const unsigned char* data, size_t length)
{
    if (m_failed || m_fd < 0)
        return false;
    if (!m_wrote && !m_made && !m_stdout) {
        // Only a regular file is emptied; a device or a pipe has nothing to drop.
        struct stat st;
        if (fstat(m_fd, &st) == 0 && S_ISREG(st.st_mode) && ftruncate(m_fd, 0) != 0)
            return fail(errno);
    }
    m_wrote = true;
    g_unwrittenSet = 0;
    while (length > 0) {
        ssize_t n = ::write(m_fd, data, length);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail(n < 0 ? errno : EIO);
        data += n;
        length -= static_cast<size_t>(n);
    }
    return true;
}

bool AudioOut::close()
{
    if (m_fd < 0)
        return !m_failed;
    if (!m_stdout) {
        if (::close(m_fd) != 0 && !m_failed) {
            fail(errno);
            fprintf(stderr, "tqlplay: cannot write %s: %s\n", m_name.c_str(), strerror(m_error));
        }
        if (m_made && !m_wrote)
            unlink(m_path.c_str());
    }
    g_unwrittenSet = 0;
    m_fd = -1;
    return !m_failed;
}

} // namespace tqlplay
