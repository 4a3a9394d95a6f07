#include "tamberResponse/tamberForYou.h"

#include <cstring>

#include "tamberResponse/tamberLogos.h"

namespace {
#define R "/moduleList/modules/moduleResponse/tqlRecommender"
#define SC R "/episode/show/channels"
const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_channel = R "/channel";
const char* const scPath_episode = R "/episode";
#define CA R "/channel/creativeArts"
#define SA R "/episode/show/creativeArts"
const char* const scPath_channelArts = CA;
const char* const scPath_showArts = SA;

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

bool isEither(const char* path, const char* a, const char* b)
{
    return is(path, a) || is(path, b);
}

// Text fields of the tile; a channel of a recommended episode fills what
// a recommended channel does. The three episode ids are read in arrival
// order, so the last of them wins.
struct TextPath {
    const char* path;
    tql_string TQLContent::*field;
};

const TextPath kTexts[] = {
    {R "/channel/channelGuid", &TQLContent::channelGuid},
    {SC "/channelGuid", &TQLContent::channelGuid},
    {R "/channel/channelId", &TQLContent::channelId},
    {SC "/channelId", &TQLContent::channelId},
    {R "/channel/name", &TQLContent::name},
    {SC "/name", &TQLContent::name},
    {R "/channel/streamingName", &TQLContent::channelExtra},
    {SC "/streamingName", &TQLContent::channelExtra},
    {R "/channel/longDescription", &TQLContent::description},
    {SC "/longDescription", &TQLContent::description},
    {R "/episode/episodeGUID", &TQLContent::episodeId},
    {R "/episode/aodEpisodeGUID", &TQLContent::episodeId},
    {R "/episode/publicationInfo/accessControlIdentifier", &TQLContent::episodeId},
    {R "/episode/longTitle", &TQLContent::name},
    {R "/episode/longDescription", &TQLContent::description},
    {R "/episode/originalAirDate", &TQLContent::episodeStart},
    {R "/episode/publicationInfo/expiryDate", &TQLContent::episodeExtra},
    {R "/episode/show/showGuid", &TQLContent::showGuid},
};

// Numbers of the tile. score and the two sort orders share one field, and
// whichever came last stands.
struct NumberPath {
    const char* path;
    int TQLContent::*field;
};

const NumberPath kNumbers[] = {
    {R "/score", &TQLContent::sortOrder},
    {R "/channel/sortOrder", &TQLContent::sortOrder},
    {SC "/sortOrder", &TQLContent::sortOrder},
    {R "/episode/duration", &TQLContent::tileValue1},
    {R "/episode/percentConsumed", &TQLContent::tileValue2},
    {R "/episode/show/episodeCount", &TQLContent::showValue1},
};

const char* const scName_channelLogo = "color channel logo (on dark)";
const char* const scName_showLogo = "show logo on dark";
} // namespace

TQLModuleResponseForYouHandler::TQLModuleResponseForYouHandler(TQLResponse* response,
                                                               tql_channelCallBackIf* callback)
    : TQLModuleHandlerBase(response), m_callback(callback)
{
    m_moduleResponse = new TQLModuleResponseForYou();
}

void TQLModuleResponseForYouHandler::findBestLogo(tql_list<TQLImage>& images)
{
    static const char* const names[] = {scName_channelLogo, scName_showLogo};
    tql_scaleBestLogo(images, names, 2);
}

int TQLModuleResponseForYouHandler::handleBoolean(const char* path, int value)
{
    if (isEither(path, R "/channel/isFavorite", SC "/isFavorite"))
        m_tile.isFavorite = value;
    else if (is(path, scPath_channelArts))
        m_image.encrypted = value; // the map's own path: an encrypted key never matches, so this stays 0
    return 1;
}

int TQLModuleResponseForYouHandler::handleNumber(const char* path, double value)
{
    for (const NumberPath& row : kNumbers) {
        if (is(path, row.path)) {
            m_tile.*row.field = truncToInt(value);
            return 1;
        }
    }
    if (isEither(path, CA "/width", SA "/width"))
        m_image.width = truncToInt(value);
    else if (isEither(path, CA "/height", SA "/height"))
        m_image.height = truncToInt(value);
    return 1;
}

int TQLModuleResponseForYouHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    for (const TextPath& row : kTexts) {
        if (is(path, row.path)) {
            m_tile.*row.field = value;
            return 1;
        }
    }
    if (isEither(path, R "/channel/tamberChannelNumber", SC "/tamberChannelNumber"))
        m_tile.tamberChannelNumber = value.toInt(nullptr, 10);
    else if (isEither(path, R "/channel/qlChannelNumber", SC "/qlChannelNumber"))
        m_tile.qlChannelNumber = value.toInt(nullptr, 10);
    else if (isEither(path, CA "/name", SA "/name"))
        m_image.name = value;
    else if (isEither(path, CA "/url", SA "/url"))
        m_image.url = value;
    return 1;
}

// A tile ends with its channel map or its episode map, so a recommendation
// that holds both gives two tiles. type and id stay unset: the ids that are
// filled tell a channel from an episode.
int TQLModuleResponseForYouHandler::handleEndMap(const char* path)
{
    if (isEither(path, scPath_channelArts, scPath_showArts)) {
        m_tile.images.push_back(m_image);
        m_image = TQLImage();
    } else if (isEither(path, scPath_channel, scPath_episode)) {
        findBestLogo(m_tile.images);
        record()->m_contents.push_back(m_tile);
        m_tile = TQLContent();
    } else if (is(path, scPath_modules)) {
        storeModule();
    }
    return 1;
}
