#ifndef TQLPLAY_LINEUP_H
#define TQLPLAY_LINEUP_H

// The line-up as tqlplay keeps it, and how a channel is named on the
// command line: by its id, its number or its exact name.
#include <string>
#include <vector>

#include "tqllib.h"

namespace tqlplay {

struct Channel {
    std::string id;   // the short id that the service tunes by
    std::string guid;
    int number = 0;
    std::string name;
    std::string category;
    bool available = false;
};

// One listing of the line-up, copied from the library's borrowed record.
Channel channelOf(const tql_content& content);

enum class Pick { Found, NoSuchChannel, Unavailable };

// Looks the text up: an id or GUID first, then a channel number, then a
// name, letter case aside. A channel listed in several categories is one
// channel. The channel is set for Found and Unavailable.
Pick pickChannel(const std::vector<Channel>& lineup, const std::string& text, Channel& channel);

// "tqlplay: ..." on stderr for a pick that was not Found.
void tellPick(Pick pick, const std::string& text, const Channel& channel);

} // namespace tqlplay

#endif
