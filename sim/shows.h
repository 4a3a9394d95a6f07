// What the service offers beside the line-up and playback: recommendations,
// on-demand shows, the episodes of a show, and program data (what is on the
// air on each channel now). Written from the catalog; program data follows
// the audio loop on the simulator's clock.
#pragma once

#include "audio_loop.h"
#include "catalog.h"
#include "json_writer.h"

#include <cstdint>
#include <string>

namespace tqlsim {

// Program data asks to be polled again after this many seconds.
const int kProgramDataSeconds = 10;

// The "tqlRecommender" list of a recommender module's response: the
// catalog's for-you channels, and the first episode of each for-you show
// that has one. Image links are whole URLs under `imageRoot`.
void writeRecommendations(JsonWriter& w, const Catalog& catalog, const std::string& imageRoot);

// The "contentData" of an on-demand module: the shows of a genre (the key of
// a category of the show's channel), else of a channel (its id or guid),
// else all shows.
void writeShows(JsonWriter& w, const Catalog& catalog, const std::string& genre, const std::string& channel,
                const std::string& imageRoot);

// The bare show list document of one show: its logos, then its episodes.
std::string showListDocument(const Catalog& catalog, const std::string& showGuid, const std::string& imageRoot);

// One program data module at `nowMs`: for each channel asked for (ids or
// guids joined by ","; else the channels of a category key; else all), the
// cut now playing. Channels that play nothing have no markers.
void writeProgramData(JsonWriter& w, const Catalog& catalog, const AudioLoop& audio, const std::string& category,
                      const std::string& channelIds, int64_t nowMs, const std::string& wallClock);

}  // namespace tqlsim
