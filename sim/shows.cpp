#include "shows.h"

#include <algorithm>

namespace tqlsim {

namespace {

const char* const kShowLogo = "show logo on dark";
const char* const kPlaceholder = "%Root%/";
// Episodes are always available this long after now, in the service's form.
const char* const kExpiry = "2099-12-31T23:59:59.000+00:00";

std::string resolve(const std::string& link, const std::string& imageRoot)
{
    const std::string placeholder = kPlaceholder;
    if (link.compare(0, placeholder.size(), placeholder) != 0)
        return link;
    return imageRoot + "/" + link.substr(placeholder.size());
}

void image(JsonWriter& w, const std::string& name, const std::string& url, int size)
{
    w.beginObject().field("name", name).field("url", url).field("width", size).field("height", size);
    w.field("encrypted", false).endObject();
}

// A show's logo in two forms; the library keeps the one for dark backgrounds.
void showArts(JsonWriter& w, const Show& show, const std::string& imageRoot)
{
    w.key("creativeArts").beginArray();
    if (!show.logo.empty()) {
        const std::string url = resolve(show.logo, imageRoot);
        image(w, "show logo on light", url, 360);
        image(w, kShowLogo, url, 720);
    }
    w.endArray();
}

void channelArts(JsonWriter& w, const Channel& channel)
{
    w.key("creativeArts").beginArray();
    for (const Image& i : channel.images)
        image(w, i.name, i.url, i.width);
    w.endArray();
}

std::vector<const Episode*> episodesOf(const Catalog& catalog, const std::string& showGuid)
{
    std::vector<const Episode*> out;
    for (const Episode& e : catalog.episodes)
        if (e.show == showGuid)
            out.push_back(&e);
    return out;
}

void channelFields(JsonWriter& w, const Channel& channel, bool favorite)
{
    w.field("channelGuid", channel.guid).field("channelId", channel.id).field("name", channel.name);
    w.field("streamingName", channel.streamingName).field("longDescription", channel.description);
    w.field("tamberChannelNumber", std::to_string(channel.number));
    w.field("qlChannelNumber", std::to_string(channel.qlNumber));
    w.field("sortOrder", channel.sortOrder).field("isFavorite", favorite);
}

// The show and its channel first: their names would otherwise replace the
// episode's own title and description in the tile.
void recommendedEpisode(JsonWriter& w, const Catalog& catalog, const Show& show, const Episode& episode,
                        const std::string& imageRoot)
{
    w.key("episode").beginObject();
    w.key("show").beginObject().field("showGuid", show.guid).field("longTitle", show.title);
    w.field("episodeCount", show.episodes);
    showArts(w, show, imageRoot);
    w.key("channels").beginArray();
    if (const Channel* channel = catalog.findChannel(show.channel)) {
        w.beginObject();
        channelFields(w, *channel, channel->favorite);
        w.endObject();
    }
    w.endArray().endObject();
    w.field("episodeGUID", episode.guid).field("aodEpisodeGUID", episode.guid);
    w.key("publicationInfo").beginObject().field("expiryDate", kExpiry);
    w.field("accessControlIdentifier", episode.caId).endObject();
    w.field("longTitle", episode.title).field("longDescription", episode.description);
    w.field("originalAirDate", episode.start).field("duration", 72).field("percentConsumed", 0);
    w.endObject();
}

bool inGenre(const Catalog& catalog, const Show& show, const std::string& genre)
{
    const Channel* channel = catalog.findChannel(show.channel);
    if (!channel)
        return false;
    return std::any_of(channel->categories.begin(), channel->categories.end(),
                       [&](const ChannelCategory& c) { return c.key == genre; });
}

std::vector<std::string> splitIds(const std::string& text)
{
    std::vector<std::string> ids;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(',', start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            ids.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return ids;
}

std::vector<const Channel*> channelsAskedFor(const Catalog& catalog, const std::string& category,
                                             const std::string& channelIds)
{
    std::vector<const Channel*> out;
    if (!channelIds.empty()) {
        for (const std::string& id : splitIds(channelIds))
            if (const Channel* channel = catalog.findChannelById(id))
                out.push_back(channel);
        return out;
    }
    for (const Channel& channel : catalog.channels) {
        bool inCategory = std::any_of(channel.categories.begin(), channel.categories.end(),
                                      [&](const ChannelCategory& c) { return c.key == category; });
        if (category.empty() || inCategory)
            out.push_back(&channel);
    }
    return out;
}

// The track of the loop that plays at `nowMs`: live, the loop starts on
// every multiple of its length since the epoch.
void currentCut(JsonWriter& w, const Catalog& catalog, const AudioLoop& audio, int64_t nowMs)
{
    const int64_t into = nowMs % audio.loopMs();
    size_t track = 0;
    for (size_t k = 0; k < audio.trackStarts().size(); ++k)
        if (audio.trackStarts()[k] * audio.frameMs() <= into)
            track = k;
    const int64_t startMs = nowMs - into + audio.trackStarts()[track] * audio.frameMs();
    const Track& t = catalog.tracks[track];
    w.beginObject().field("assetGUID", t.guid).field("time", static_cast<long long>(startMs));
    w.field("duration", static_cast<long long>(audio.trackFrames(track) * audio.frameMs() / 1000));
    w.key("cut").beginObject().field("title", t.title);
    w.key("artists").beginArray().beginObject().field("name", t.artist).endObject().endArray();
    w.key("album").beginObject().field("title", t.album).endObject();
    w.endObject().endObject();
}

bool playsLoop(const Channel& channel, const AudioLoop& audio)
{
    return !audio.empty() && channel.available && channel.tuneMethod == "live";
}

}  // namespace

void writeRecommendations(JsonWriter& w, const Catalog& catalog, const std::string& imageRoot)
{
    w.key("tqlRecommender").beginArray();
    int score = static_cast<int>(catalog.forYou.items.size());
    for (const std::string& guid : catalog.forYou.items) {
        if (const Channel* channel = catalog.findChannel(guid)) {
            w.beginObject().field("score", score--).key("channel").beginObject();
            channelFields(w, *channel, channel->favorite);
            channelArts(w, *channel);
            w.endObject().endObject();
        } else if (const Show* show = catalog.findShow(guid)) {
            std::vector<const Episode*> episodes = episodesOf(catalog, show->guid);
            if (episodes.empty())
                continue; // nothing of it to play
            w.beginObject().field("score", score--);
            recommendedEpisode(w, catalog, *show, *episodes.front(), imageRoot);
            w.endObject();
        }
    }
    w.endArray();
}

void writeShows(JsonWriter& w, const Catalog& catalog, const std::string& genre, const std::string& channel,
                const std::string& imageRoot)
{
    const Channel* only = channel.empty() ? nullptr : catalog.findChannelById(channel);
    w.key("contentData").beginObject().key("aodShows").beginObject().key("shows").beginArray();
    for (const Show& show : catalog.shows) {
        if (!genre.empty() ? !inGenre(catalog, show, genre) : !channel.empty() && (!only || only->guid != show.channel))
            continue;
        const Channel* airedOn = catalog.findChannel(show.channel);
        const std::string channelName = airedOn ? airedOn->name : "";
        w.beginObject().field("newEpisodeCount", static_cast<int>(episodesOf(catalog, show.guid).size()));
        w.key("showDescription").beginObject().field("guid", show.guid);
        w.field("longTitle", show.title).field("mediumTitle", show.title);
        w.field("longDescription", show.title + ", on " + channelName);
        w.field("shortDescription", std::to_string(show.episodes) + (show.episodes == 1 ? " episode" : " episodes"));
        w.field("programType", "show").key("legacyIds").beginObject().field("shortId", show.guid.substr(0, 8));
        w.endObject().field("aodEpisodeCount", show.episodes);
        w.key("relatedChannelIds").beginArray();
        if (airedOn)
            w.value(airedOn->id);
        w.endArray();
        w.key("channels").beginObject().key("channels").beginArray();
        if (airedOn)
            w.beginObject().field("name", channelName).endObject();
        w.endArray().endObject();
        showArts(w, show, imageRoot);
        w.endObject().endObject();
    }
    w.endArray().endObject().endObject();
}

std::string showListDocument(const Catalog& catalog, const std::string& showGuid, const std::string& imageRoot)
{
    const Show* show = catalog.findShow(showGuid);
    std::vector<const Episode*> episodes = episodesOf(catalog, showGuid);
    const Channel* channel = show ? catalog.findChannel(show->channel) : nullptr;
    JsonWriter w;
    w.beginObject().key("showList").beginArray();
    w.beginObject().key("shows").beginObject().field("showGUID", showGuid);
    w.field("aodEpisodeCount", static_cast<int>(episodes.size()));
    if (show)
        showArts(w, *show, imageRoot); // ahead of the episodes, which all carry it
    w.key("aodEpisodes").beginObject().key("episodes").beginArray();
    for (const Episode* e : episodes) {
        w.beginObject().field("episodeGUID", e->guid).field("aodEpisodeGUID", e->guid);
        w.field("longTitle", e->title).field("mediumTitle", e->title);
        w.field("longDescription", e->description).field("shortDescription", e->description);
        w.field("originalAirDate", e->start);
        w.key("publicationInfo").beginObject().field("accessControlIdentifier", e->caId);
        w.field("expiryDate", kExpiry).endObject();
        w.field("channelId", channel ? channel->id : "").field("channelGuid", channel ? channel->guid : "");
        w.field("duration", 72).field("special", false).endObject();
    }
    w.endArray().endObject().endObject().endObject();
    w.endArray().endObject();
    return w.str();
}

void writeProgramData(JsonWriter& w, const Catalog& catalog, const AudioLoop& audio, const std::string& category,
                      const std::string& channelIds, int64_t nowMs, const std::string& wallClock)
{
    w.beginObject().field("moduleArea", "Discovery").field("moduleType", "PDT");
    w.field("wallClockRenderTime", wallClock).field("updateFrequency", kProgramDataSeconds);
    w.key("moduleResponse").beginObject().key("moduleDetails").beginObject();
    w.key("liveChannelResponse").beginObject().key("liveChannelResponses").beginArray();
    for (const Channel* channel : channelsAskedFor(catalog, category, channelIds)) {
        w.beginObject().field("channelId", channel->id).key("markerLists").beginArray();
        if (playsLoop(*channel, audio)) {
            // The hour's show first, as the service lists it; only the cut
            // layer says what plays.
            const int64_t hour = nowMs - nowMs % 3600000;
            w.beginObject().field("layer", "episode").key("markers").beginArray();
            w.beginObject().field("time", static_cast<long long>(hour)).field("duration", 3600);
            w.key("episode").beginObject().field("longTitle", channel->name).endObject().endObject();
            w.endArray().endObject();
            w.beginObject().field("layer", "cut").key("markers").beginArray();
            currentCut(w, catalog, audio, nowMs);
            w.endArray().endObject();
        }
        w.endArray().endObject();
    }
    w.endArray().endObject().endObject().endObject().endObject();
}

}  // namespace tqlsim
