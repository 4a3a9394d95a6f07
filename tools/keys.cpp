#include "keys.h"

#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>

namespace tqlplay {

namespace {

// Kept where a signal handler can reach it.
struct termios g_saved;
volatile sig_atomic_t g_raw = 0;

} // namespace

void restoreTerminal()
{
    if (g_raw) {
        tcsetattr(STDIN_FILENO, TCSANOW, &g_saved);
        g_raw = 0;
    }
}

Keyboard::Keyboard()
{
    // In the background a terminal stops a process that changes its modes.
    if (!isatty(STDIN_FILENO) || tcgetpgrp(STDIN_FILENO) != getpgrp() || tcgetattr(STDIN_FILENO, &g_saved) != 0)
        return;
    struct termios raw = g_saved;
    raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0)
        return;
    g_raw = 1;
    m_active = true;
}

Keyboard::~Keyboard()
{
    restoreTerminal();
}

Key Keyboard::next()
{
    if (!m_active)
        return Key::None;
    pollfd in = {STDIN_FILENO, POLLIN, 0};
    if (m_length < static_cast<int>(sizeof m_pending) && poll(&in, 1, 0) > 0 && (in.revents & POLLIN)) {
        ssize_t got = read(STDIN_FILENO, m_pending + m_length, sizeof m_pending - static_cast<size_t>(m_length));
        if (got > 0)
            m_length += static_cast<int>(got);
    }
    while (m_length > 0) {
        int used = 1;
        Key key = Key::None;
        unsigned char c = m_pending[0];
        if (c == 0x1b) {
            // An arrow is ESC [ C or ESC O C (right), D (left); a lone ESC
            // or another sequence is passed over.
            if (m_length < 3 && (m_length == 1 || m_pending[1] == '[' || m_pending[1] == 'O'))
                return Key::None; // the rest of the sequence is still on its way
            if (m_pending[1] == '[' || m_pending[1] == 'O') {
                used = 3;
                key = m_pending[2] == 'C' ? Key::Next : m_pending[2] == 'D' ? Key::Previous : Key::None;
            }
        } else if (c == ' ') {
            key = Key::Pause;
        } else if (c == 'n' || c == 'N') {
            key = Key::Next;
        } else if (c == 'p' || c == 'P') {
            key = Key::Previous;
        } else if (c == 'l' || c == 'L') {
            key = Key::Live;
        } else if (c == 'q' || c == 'Q') {
            key = Key::Quit;
        }
        m_length -= used;
        memmove(m_pending, m_pending + used, static_cast<size_t>(m_length));
        if (key != Key::None)
            return key;
    }
    return Key::None;
}

} // namespace tqlplay
