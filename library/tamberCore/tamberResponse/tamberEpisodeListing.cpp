#include "tamberResponse/tamberEpisodeListing.h"

#include <cstring>

#include "tamberTypes/tamberDebug.h"
#include "tamberTypes/tamberUrl.h"

namespace {
#define SH "/showList/shows"
#define EP SH "/aodEpisodes/episodes"
const char* const scPath_showList = "/showList";
const char* const scPath_showGUID = SH "/showGUID";
const char* const scPath_aodEpisodeCount = SH "/aodEpisodeCount";
const char* const scPath_episodes = EP;
const char* const scPath_duration = EP "/duration";
const char* const scPath_special = EP "/special";
const char* const scPath_creativeArts = SH "/creativeArts";
const char* const scPath_artName = SH "/creativeArts/name";
const char* const scPath_artUrl = SH "/creativeArts/url";
const char* const scPath_artWidth = SH "/creativeArts/width";
const char* const scPath_artHeight = SH "/creativeArts/height";
const char* const scName_showLogo = "show logo on dark";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

struct TextPath {
    const char* path;
    tql_string TQLAODEpisode::*field;
};

const TextPath kTexts[] = {
    {EP "/episodeGUID", &TQLAODEpisode::episodeGUID},
    {EP "/aodEpisodeGUID", &TQLAODEpisode::aodEpisodeGUID},
    {EP "/longTitle", &TQLAODEpisode::longTitle},
    {EP "/mediumTitle", &TQLAODEpisode::mediumTitle},
    {EP "/longDescription", &TQLAODEpisode::longDescription},
    {EP "/shortDescription", &TQLAODEpisode::shortDescription},
    {EP "/originalAirDate", &TQLAODEpisode::originalAirDate},
    {EP "/publicationInfo/accessControlIdentifier", &TQLAODEpisode::accessControlIdentifier},
    {EP "/publicationInfo/expiryDate", &TQLAODEpisode::expiryDate},
    {EP "/channelId", &TQLAODEpisode::channelId},
    {EP "/channelGuid", &TQLAODEpisode::channelGuid},
};
} // namespace

TQLModuleResponseEpisodeListingHandler::TQLModuleResponseEpisodeListingHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseEpisodeListing();
}

int TQLModuleResponseEpisodeListingHandler::handleBoolean(const char* path, int value)
{
    if (is(path, scPath_special))
        m_episode.special = value;
    return 1;
}

int TQLModuleResponseEpisodeListingHandler::handleNumber(const char* path, double value)
{
    if (is(path, scPath_aodEpisodeCount))
        m_episode.aodEpisodeCount = truncToInt(value);
    else if (is(path, scPath_duration))
        m_episode.duration = truncToInt(value);
    else if (is(path, scPath_artWidth))
        m_image.width = truncToInt(value);
    else if (is(path, scPath_artHeight))
        m_image.height = truncToInt(value);
    return 1;
}

int TQLModuleResponseEpisodeListingHandler::handleString(const char* path, const tql_string& value)
{
    if (is(path, scPath_showGUID)) {
        m_showGuid = value;
        return 1;
    }
    for (const TextPath& row : kTexts) {
        if (is(path, row.path)) {
            m_episode.*row.field = value;
            return 1;
        }
    }
    if (is(path, scPath_artName))
        m_image.name = value;
    else if (is(path, scPath_artUrl))
        m_image.url = value;
    return 1;
}

int TQLModuleResponseEpisodeListingHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_creativeArts)) {
        // Only a wider show logo replaces the best one. Any other image
        // stays in work, so that a key it lacks shows up in the next one.
        if (m_image.name == scName_showLogo && m_image.width > m_bestLogo.width) {
            m_bestLogo = m_image;
            m_image = TQLImage();
        }
    } else if (is(path, scPath_episodes)) {
        m_episode.showGUID = m_showGuid;
        m_episode.images = m_scaledLogos;
        record()->addEpisode(m_episode);
        m_episode = TQLAODEpisode();
    } else if (is(path, scPath_showList)) {
        // No module list in this document: the module has empty envelope strings.
        m_showGuid = tql_string();
        storeModule();
    }
    return 1;
}

int TQLModuleResponseEpisodeListingHandler::handleEndArray(const char* path)
{
    if (is(path, scPath_creativeArts))
        createScaledLogos();
    return 1;
}

int TQLModuleResponseEpisodeListingHandler::createScaledLogos()
{
    if (m_bestLogo.url.isEmpty()) {
        TQL_LOG(2, "Failed to parse the show icon url");
        return -1;
    }
    m_scaledLogos.clear();
    const tql_url source(m_bestLogo.url, true);
    for (int size = 700; size >= 100; size -= 200) {
        tql_url url(source);
        const tql_string side = tql_string::formatString("%d", size);
        url.addQueryItem("width", side);
        url.addQueryItem("height", side);
        url.addQueryItem("preserveAspect", "true");
        TQLImage logo;
        logo.url = url.toString();
        logo.width = size;
        logo.height = size;
        m_scaledLogos.push_back(logo);
    }
    return 1;
}
