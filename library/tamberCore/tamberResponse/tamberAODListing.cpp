#include "tamberResponse/tamberAODListing.h"

#include <cstring>

#include "tamberResponse/tamberLogos.h"

namespace {
#define S "/moduleList/modules/moduleResponse/contentData/aodShows/shows"
#define D S "/showDescription"
const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_shows = S;
const char* const scPath_newEpisodeCount = S "/newEpisodeCount";
const char* const scPath_aodEpisodeCount = D "/aodEpisodeCount";
const char* const scPath_relatedChannelIds = D "/relatedChannelIds";
const char* const scPath_channelName = D "/channels/channels/name";
const char* const scPath_creativeArts = D "/creativeArts";
const char* const scPath_artName = D "/creativeArts/name";
const char* const scPath_artUrl = D "/creativeArts/url";
const char* const scPath_artWidth = D "/creativeArts/width";
const char* const scPath_artHeight = D "/creativeArts/height";
const char* const scPath_artEncrypted = D "/creativeArts/encrypted";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

struct TextPath {
    const char* path;
    tql_string TQLAODShow::*field;
};

// In an array of channel ids, or of channels, the last one stands.
const TextPath kTexts[] = {
    {D "/guid", &TQLAODShow::guid},
    {D "/longTitle", &TQLAODShow::longTitle},
    {D "/mediumTitle", &TQLAODShow::mediumTitle},
    {D "/longDescription", &TQLAODShow::longDescription},
    {D "/shortDescription", &TQLAODShow::shortDescription},
    {D "/programType", &TQLAODShow::programType},
    {D "/legacyIds/shortId", &TQLAODShow::shortId},
    {scPath_relatedChannelIds, &TQLAODShow::channelId},
    {scPath_channelName, &TQLAODShow::channelName},
};
} // namespace

TQLModuleResponseAODListingHandler::TQLModuleResponseAODListingHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseAODListing();
}

void TQLModuleResponseAODListingHandler::chooseImage(tql_list<TQLImage>& images)
{
    static const char* const names[] = {"show logo on dark"};
    tql_scaleBestLogo(images, names, 1);
}

void TQLModuleResponseAODListingHandler::findBestImages()
{
    if (!m_show.creativeArts.empty())
        chooseImage(m_show.creativeArts);
}

int TQLModuleResponseAODListingHandler::handleBoolean(const char* path, int value)
{
    if (is(path, scPath_artEncrypted))
        m_image.encrypted = value;
    return 1;
}

int TQLModuleResponseAODListingHandler::handleNumber(const char* path, double value)
{
    if (is(path, scPath_aodEpisodeCount))
        m_show.aodEpisodeCount = truncToInt(value);
    else if (is(path, scPath_newEpisodeCount))
        m_show.newEpisodeCount = truncToInt(value);
    else if (is(path, scPath_artWidth))
        m_image.width = truncToInt(value);
    else if (is(path, scPath_artHeight))
        m_image.height = truncToInt(value);
    return 1;
}

int TQLModuleResponseAODListingHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    for (const TextPath& row : kTexts) {
        if (is(path, row.path)) {
            m_show.*row.field = value;
            return 1;
        }
    }
    if (is(path, scPath_artName))
        m_image.name = value;
    else if (is(path, scPath_artUrl))
        m_image.url = value;
    return 1;
}

int TQLModuleResponseAODListingHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_creativeArts)) {
        m_show.creativeArts.push_back(m_image);
        m_image = TQLImage();
    } else if (is(path, scPath_shows)) {
        findBestImages();
        record()->m_shows.push_back(m_show);
        m_show = TQLAODShow();
    } else if (is(path, scPath_modules)) {
        storeModule();
    }
    return 1;
}
