#ifndef TQLPLAY_KEYS_H
#define TQLPLAY_KEYS_H

// Keys during play, read from a terminal without waiting for Enter. The
// terminal keeps generating Ctrl-C as a signal; echo and line editing are
// off while playing and back on when play ends, also when a signal ends it.
namespace tqlplay {

enum class Key { None, Pause, Next, Previous, Live, Quit };

class Keyboard {
public:
    // Takes stdin when it is a terminal; without one there are no keys.
    Keyboard();
    ~Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    bool active() const { return m_active; }
    // The next key typed, or Key::None when there is none; never waits.
    Key next();

private:
    bool m_active = false;
    unsigned char m_pending[16];
    int m_length = 0;
};

// Puts the terminal back as it was; safe in a signal handler.
void restoreTerminal();

} // namespace tqlplay

#endif
