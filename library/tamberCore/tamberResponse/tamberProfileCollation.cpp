#include "tamberResponse/tamberProfileCollation.h"

#include <cstring>

#include "tamberTypes/tamberUrl.h"

#define MR "/moduleList/modules/moduleResponse"
#define FAV MR "/favoritesList/favorites"
#define PRE MR "/presetsList/presets"
#define REC MR "/recentlyPlayedData/recentlyPlayeds"
#define PP MR "/pausePointTypes"

namespace {
const char* const scPath_favoritesList = MR "/favoritesList";
const char* const scPath_presetsList = MR "/presetsList";
const char* const scPath_recentlyPlayedData = MR "/recentlyPlayedData";

const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_moduleArea = "/moduleList/modules/moduleArea";
const char* const scPath_moduleType = "/moduleList/modules/moduleType";
const char* const scPath_moduleGUID = "/moduleList/modules/moduleGUID";
const char* const scPath_moduleSubType = "/moduleList/modules/moduleSubType";

const char* const scPath_favAssetGUID = FAV "/assetGUID";
const char* const scPath_favAssetType = FAV "/assetType";
const char* const scPath_favAssetName = FAV "/assetName";
const char* const scPath_favChannelId = FAV "/channelId";
const char* const scPath_favContentType = FAV "/contentType";
const char* const scPath_favEpisodeCount = FAV "/episodeCount";

const char* const scPath_presetAssetGUID = PRE "/assetGUID";
const char* const scPath_presetAssetType = PRE "/assetType";
const char* const scPath_presetContentType = PRE "/contentType";
const char* const scPath_presetChannelId = PRE "/channelId";
const char* const scPath_presetTabSortOrder = PRE "/tabSortOrder";

const char* const scPath_recentAssetType = REC "/assetType";
const char* const scPath_recentlyPlayedGuid = REC "/recentlyPlayedGuid";
const char* const scPath_recentPlayType = REC "/recentPlayType";
const char* const scPath_recentAssetGUID = REC "/assetGUID";
const char* const scPath_recentChannelGuid = REC "/channelGuid";
const char* const scPath_recentEpisodeTitle = REC "/episodeTitle";
const char* const scPath_recentShortEpisodeDescription = REC "/shortEpisodeDescription";
const char* const scPath_recentStartStreamDateTime = REC "/startStreamDateTime";
const char* const scPath_recentAodEpisodeExpiryDate = REC "/aodEpisodeExpiryDate";
const char* const scPath_recentAodPercentConsumed = REC "/aodPercentConsumed";
const char* const scPath_recentIncognito = REC "/incognito";
const char* const scPath_showLogos = REC "/showLogos";
const char* const scPath_showLogoName = REC "/showLogos/name";
const char* const scPath_showLogoUrl = REC "/showLogos/url";
const char* const scPath_showLogoWidth = REC "/showLogos/width";
const char* const scPath_showLogoHeight = REC "/showLogos/height";

const char* const scPath_pausePointAssetType = PP "/assetType";
const char* const scPath_pausePointAssetGUID = PP "/assetGUID";
const char* const scPath_pausePointShowGUID = PP "/showGUID";
const char* const scPath_pausePointAodPercentConsumed = PP "/aodPercentConsumed";

const char* const scLogo_showOnDark = "show logo on dark";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}
} // namespace

const char* const TQLModuleResponseProfileGUPCollationHandler::scPath_favorites = FAV;
const char* const TQLModuleResponseProfileGUPCollationHandler::scPath_presets = PRE;
const char* const TQLModuleResponseProfileGUPCollationHandler::scPath_recentlyPlayeds = REC;
const char* const TQLModuleResponseProfileGUPCollationHandler::scPath_pausePointTypes = PP;

TQLModuleHandlerBase* createProfileCollationHandler(const char* shortPath, TQLResponse* response,
                                                    tql_channelCallBackIf* callback)
{
    if (is(shortPath, scPath_favoritesList) || is(shortPath, scPath_recentlyPlayedData) ||
        is(shortPath, scPath_presetsList) || is(shortPath, PP))
        return new TQLModuleResponseProfileGUPCollationHandler(response, callback);
    return nullptr;
}

TQLModuleResponseProfileGUPCollationHandler::TQLModuleResponseProfileGUPCollationHandler(
    TQLResponse* response, tql_channelCallBackIf* callback)
    : TQLModuleHandlerBase(response), m_callback(callback)
{
    m_moduleResponse = new TQLModuleResponseProfileGUPCollation();
}

int TQLModuleResponseProfileGUPCollationHandler::handleBoolean(const char* path, int value)
{
    if (is(path, scPath_recentIncognito))
        m_recent.incognito = value ? 1 : 0;
    return 1;
}

int TQLModuleResponseProfileGUPCollationHandler::handleNumber(const char* path, double value)
{
    const int n = truncToInt(value);
    if (is(path, scPath_favEpisodeCount))
        m_favorite.episodeCount = n;
    else if (is(path, scPath_presetTabSortOrder))
        m_preset.tabSortOrder = n;
    else if (is(path, scPath_recentAodPercentConsumed))
        m_recent.aodPercentConsumed = n;
    else if (is(path, scPath_showLogoWidth))
        m_logo.width = n;
    else if (is(path, scPath_showLogoHeight))
        m_logo.height = n;
    else if (is(path, scPath_pausePointAodPercentConsumed))
        m_pausePoint.aodPercentConsumed = n;
    return 1;
}

int TQLModuleResponseProfileGUPCollationHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    if (is(path, scPath_moduleGUID))
        m_module.moduleGUID = value;
    else if (is(path, scPath_moduleSubType))
        m_module.moduleSubType = value;
    else if (!favoriteString(path, value) && !presetString(path, value) && !recentString(path, value))
        pausePointString(path, value);
    return 1;
}

bool TQLModuleResponseProfileGUPCollationHandler::favoriteString(const char* path, const tql_string& value)
{
    if (is(path, scPath_favAssetGUID)) {
        m_favorite.assetGUID = value;
    } else if (is(path, scPath_favAssetType)) {
        if (value == "channel")
            m_favorite.assetType = 0;
        else if (value == "show")
            m_favorite.assetType = 1;
        else if (value == "episode")
            m_favorite.assetType = 2;
    } else if (is(path, scPath_favAssetName)) {
        m_favorite.assetName = value;
    } else if (is(path, scPath_favChannelId)) {
        m_favorite.channelId = value;
    } else if (is(path, scPath_favContentType)) {
        m_favorite.contentType = value;
    } else {
        return false;
    }
    return true;
}

bool TQLModuleResponseProfileGUPCollationHandler::presetString(const char* path, const tql_string& value)
{
    if (is(path, scPath_presetAssetGUID)) {
        m_preset.assetGUID = value;
    } else if (is(path, scPath_presetAssetType)) {
        if (value == "channel")
            m_preset.assetType = 0;
        else if (value == "episode")
            m_preset.assetType = 2;
    } else if (is(path, scPath_presetContentType)) {
        // An additional channel is told by its content type alone; the text
        // itself is not kept.
        if (value == "aic")
            m_preset.assetType = 3;
    } else if (is(path, scPath_presetChannelId)) {
        m_preset.channelId = value;
    } else {
        return false;
    }
    return true;
}

bool TQLModuleResponseProfileGUPCollationHandler::recentString(const char* path, const tql_string& value)
{
    static const struct {
        const char* path;
        tql_string TQLRecentlyPlayed::*field;
    } kTexts[] = {
        {scPath_recentlyPlayedGuid, &TQLRecentlyPlayed::recentlyPlayedGuid},
        {scPath_recentPlayType, &TQLRecentlyPlayed::recentPlayType},
        {scPath_recentAssetGUID, &TQLRecentlyPlayed::assetGUID},
        {scPath_recentChannelGuid, &TQLRecentlyPlayed::channelGuid},
        {scPath_recentEpisodeTitle, &TQLRecentlyPlayed::episodeTitle},
        {scPath_recentShortEpisodeDescription, &TQLRecentlyPlayed::shortEpisodeDescription},
        {scPath_recentStartStreamDateTime, &TQLRecentlyPlayed::startStreamDateTime},
        {scPath_recentAodEpisodeExpiryDate, &TQLRecentlyPlayed::aodEpisodeExpiryDate},
    };
    if (is(path, scPath_recentAssetType)) {
        if (value == "channel")
            m_recent.assetType = 0;
        else if (value == "aodEpisode")
            m_recent.assetType = 2;
        return true;
    }
    for (const auto& text : kTexts) {
        if (is(path, text.path)) {
            m_recent.*text.field = value;
            return true;
        }
    }
    if (is(path, scPath_showLogoName))
        m_logo.name = value;
    else if (is(path, scPath_showLogoUrl))
        m_logo.url = value;
    else
        return false;
    return true;
}

bool TQLModuleResponseProfileGUPCollationHandler::pausePointString(const char* path, const tql_string& value)
{
    if (is(path, scPath_pausePointAssetType)) {
        if (value == "aodEpisode")
            m_pausePoint.assetType = 2;
    } else if (is(path, scPath_pausePointAssetGUID)) {
        m_pausePoint.assetGUID = value;
    } else if (is(path, scPath_pausePointShowGUID)) {
        m_pausePoint.showGUID = value;
    } else {
        return false;
    }
    return true;
}

int TQLModuleResponseProfileGUPCollationHandler::handleEndMap(const char* path)
{
    TQLModuleResponseProfileGUPCollation* r = record();
    if (is(path, FAV)) {
        reportFavorite();
        r->m_items.push_back(m_favorite);
        m_favorite = TQLGUPCollationItem();
    } else if (is(path, PRE)) {
        r->m_items.push_back(m_preset);
        m_preset = TQLGUPCollationItem();
    } else if (is(path, scPath_showLogos)) {
        m_recent.showLogos.push_back(m_logo);
        m_logo = TQLImage();
    } else if (is(path, PP)) {
        r->m_pausePoints.push_back(m_pausePoint);
        m_pausePoint = TQLAODPausePoint();
    } else if (is(path, scPath_modules)) {
        storeModule();
    } else if (is(path, REC)) {
        // Channel recents keep their logos as they came.
        if (m_recent.assetType == 2)
            chooseImages(m_recent.showLogos);
        r->m_recentlyPlayed.push_back(m_recent);
        m_recent = TQLRecentlyPlayed();
    }
    return 1;
}

void TQLModuleResponseProfileGUPCollationHandler::chooseImages(tql_list<TQLImage>& list)
{
    tql_list<TQLImage> chosen;
    for (const TQLImage& image : list) {
        if (image.name != scLogo_showOnDark)
            continue;
        const tql_url source(image.url, true);
        for (int size = 400; size >= 100; size -= 100) {
            tql_url url(source);
            const tql_string side = tql_string::formatString("%d", size);
            url.addQueryItem("width", side);
            url.addQueryItem("height", side);
            url.addQueryItem("preserveAspect", "true");
            TQLImage variant;
            variant.url = url.toString();
            variant.width = size;
            variant.height = size;
            chosen.push_back(variant);
        }
        break; // later ones are ignored
    }
    list = chosen;
}
