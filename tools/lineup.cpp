#include "lineup.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tqlplay {

namespace {

std::string textOf(const char* text) { return text ? text : ""; }

bool same(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

bool isNumber(const std::string& text)
{
    return !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == std::string::npos;
}

} // namespace

Channel channelOf(const tql_content& c)
{
    Channel channel;
    channel.id = textOf(c.channelId);
    channel.guid = textOf(c.id);
    channel.number = c.tamberChannelNumber;
    channel.name = textOf(c.name);
    channel.category = textOf(c.categoryName);
    channel.available = c.isAvailable != 0;
    return channel;
}

Pick pickChannel(const std::vector<Channel>& lineup, const std::string& text, Channel& channel)
{
    const Channel* found = nullptr;
    for (const Channel& c : lineup)
        if (!found && !text.empty() && (same(c.id, text) || same(c.guid, text)))
            found = &c;
    if (!found && isNumber(text))
        for (const Channel& c : lineup)
            if (!found && c.number == atoi(text.c_str()))
                found = &c;
    for (const Channel& c : lineup)
        if (!found && same(c.name, text))
            found = &c;
    if (!found)
        return Pick::NoSuchChannel;
    channel = *found;
    return channel.available ? Pick::Found : Pick::Unavailable;
}

void tellPick(Pick pick, const std::string& text, const Channel& channel)
{
    if (pick == Pick::NoSuchChannel)
        fprintf(stderr, "tqlplay: no such channel: '%s' ('tqlplay channels' lists ids, numbers and names)\n",
                text.c_str());
    else if (pick == Pick::Unavailable)
        fprintf(stderr, "tqlplay: channel %d %s (%s) is not available to this account\n", channel.number,
                channel.name.c_str(), channel.id.c_str());
}

} // namespace tqlplay
