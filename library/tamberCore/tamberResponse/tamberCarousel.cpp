#include "tamberResponse/tamberCarousel.h"

#include <cstdint>
#include <cstring>

#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberUrl.h"

namespace {
#define MR "/moduleList/modules/moduleResponse"
const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_expiry = MR "/expiry";
const char* const scPath_carousel = MR "/carousel";
const char* const scPath_carouselTitle = MR "/carousel/carouselTitle/textValue";
// Paths below the tile root.
const char* const scPath_tile = "";
const char* const scPath_tileContentType = "/tileContentType";
const char* const scPath_tileContentSubType = "/tileContentSubType";
const char* const scPath_tileAssetInfo = "/tileAssetInfo";
const char* const scPath_assetInfoKey = "/tileAssetInfo/assetInfoKey";
const char* const scPath_assetInfoValue = "/tileAssetInfo/assetInfoValue";
const char* const scPath_tileImage = "/tileMarkup/tileImage";
const char* const scPath_imageClass = "/tileMarkup/tileImage/imageClass";
const char* const scPath_imageLink = "/tileMarkup/tileImage/imageLink";
const char* const scPath_tileText = "/tileMarkup/tileText";
const char* const scPath_textClass = "/tileMarkup/tileText/textClass";
const char* const scPath_textValue = "/tileMarkup/tileText/textValue";

// Blank, U+2022, blank.
const char* const scSeparator = " \xE2\x80\xA2 ";

const unsigned F = kCarouselFavorites;
const unsigned R = kCarouselRecents;
const unsigned Y = kCarouselForYou;
const unsigned S = kCarouselSearch;
const unsigned kAllKinds = F | R | Y | S;

// Tile types as a mask: 0 channel, 1 show, 2 episode, 3 additional channel, 4 category.
const unsigned kChannel = 1u << 0;
const unsigned kShow = 1u << 1;
const unsigned kEpisode = 1u << 2;
const unsigned kChannels = kChannel | 1u << 3;
const unsigned kAnyType = 0x1F;

unsigned typeBit(int type)
{
    return type >= 0 && type <= 4 ? 1u << type : 0;
}

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

const int kDropTile = -1;

// A content type, or a subtype, which has the last word when it follows.
struct TypeRule {
    const char* field;
    const char* text;
    int type; // or kDropTile
    unsigned kinds;
};

const TypeRule kTileTypes[] = {
    {scPath_tileContentType, "channel", 0, F | R | Y}, // search leaves a channel at the default 0
    {scPath_tileContentType, "show", 1, kAllKinds},
    {scPath_tileContentType, "episode", 2, kAllKinds},
    {scPath_tileContentType, "category", 4, S},
    {scPath_tileContentSubType, "nowPlaying", 0, kAllKinds},
    {scPath_tileContentSubType, "additionalChannel", 3, kAllKinds},
    {scPath_tileContentSubType, "vod", kDropTile, F | R | Y}, // search lists on-demand channels too
};

struct LogoClass {
    const char* text;
    unsigned kinds;
};

const LogoClass kLogoClasses[] = {
    {"logo", kAllKinds},
    {"logo-left", kAllKinds},
    {"logo-center", F | R | Y},
};

enum AssetAction { kSet, kSetIfEmpty, kChannelNumber, kPlaceholder };

// Every row whose key, tile type and handler match applies, in order.
struct AssetRule {
    const char* key;
    unsigned types;
    AssetAction action;
    tql_string TQLContent::*field;
    unsigned kinds;
};

const AssetRule kAssetRules[] = {
    {"channelName", kChannel, kSet, &TQLContent::name, F | R | Y},
    {"channelName", kShow, kSet, &TQLContent::description, F | R | Y},
    {"showName", kShow, kSet, &TQLContent::name, F | R | Y},
    {"episodeLongTitle", kEpisode, kSet, &TQLContent::name, Y},
    // Search names every tile by whichever title it has; a show's doubles as its description.
    {"channelName", kAnyType, kSet, &TQLContent::name, S},
    {"showLongTitle", kAnyType, kSet, &TQLContent::name, S},
    {"episodeLongTitle", kAnyType, kSet, &TQLContent::name, S},
    {"channelName", kShow, kSet, &TQLContent::description, S},
    {"showLongTitle", kShow, kSet, &TQLContent::description, S},
    {"episodeLongTitle", kShow, kSet, &TQLContent::description, S},
    {"favAssetGuid", kAnyType, kSet, &TQLContent::id, F},
    {"channelGUID", kAnyType, kSet, &TQLContent::channelGuid, F | R},
    {"channelGuid", kAnyType, kSet, &TQLContent::channelGuid, kAllKinds},
    {"channelGUID", kChannels, kSet, &TQLContent::id, R},
    {"channelGuid", kChannels, kSet, &TQLContent::id, R | Y | S},
    // Recents names no show id: a recent show is never kept.
    {"showGUID", kAnyType, kSet, &TQLContent::showGuid, F | R},
    {"showGuid", kAnyType, kSet, &TQLContent::showGuid, Y | S},
    {"showGuid", kShow, kSet, &TQLContent::id, Y | S},
    // The on-demand id wins over the plain episode GUID, whichever came first.
    {"episodeGUID", kAnyType, kSetIfEmpty, &TQLContent::episodeId, F},
    {"aodEpisodeCaId", kAnyType, kSet, &TQLContent::episodeId, kAllKinds},
    {"aodEpisodeCaId", kEpisode, kSet, &TQLContent::id, R | Y | S},
    {"channelId", kAnyType, kSet, &TQLContent::channelId, kAllKinds},
    {"channelNumber", kAnyType, kChannelNumber, nullptr, kAllKinds},
    {"episodeStartTime", kEpisode, kSet, &TQLContent::episodeStart, kAllKinds},
    {"isPlaceholderShow", kShow, kPlaceholder, nullptr, F},
    {"categoryName", kAnyType, kSet, &TQLContent::categoryName, S},
    {"categoryKey", kAnyType, kSet, &TQLContent::categoryKey, S},
};

enum TextAction {
    kDescriptionValueDotName,
    kDescriptionValue,
    kDescriptionDotValue,
    kDescriptionDotEpisodeCount, // a favorite show without episodes is dropped
    kEpisodeAirDate,
    kNameValue
};

// The first row whose tile type, text class and handler match applies.
struct TextRule {
    unsigned types;
    const char* textClass;
    TextAction action;
    unsigned kinds;
};

const TextRule kTextRules[] = {
    {kChannels, "line1", kDescriptionValueDotName, F | R | Y},
    {kChannels, "line1", kDescriptionValue, S},
    {kChannels, "line3", kDescriptionDotValue, S},
    {kShow, "line2", kDescriptionDotEpisodeCount, F},
    {kShow, "line3", kDescriptionDotValue, R},
    {kShow, "line2", kDescriptionDotValue, Y | S},
    {kEpisode, "line1", kEpisodeAirDate, F | R | Y},
    {kEpisode, "line2", kNameValue, F | R | Y},
};

TQLImage sizedLogo(const tql_url& source, int size, bool repairSchemeless)
{
    tql_url url(source);
    const tql_string side = tql_string::formatString("%d", size);
    url.addQueryItem("width", side);
    url.addQueryItem("height", side);
    url.addQueryItem("preserveAspect", "true");
    TQLImage logo;
    logo.url = url.toString();
    if (repairSchemeless && logo.url.startsWith("://"))
        logo.url.remove(0, 3);
    logo.width = size;
    logo.height = size;
    return logo;
}
} // namespace

const char* const TQLModuleResponseCarouselHandlerBase::scPath_toggleSelectorTiles =
    MR "/contentToggleSelector/selectorSegment/segmentCarousel/carouselTiles";
const char* const TQLModuleResponseCarouselHandlerBase::scPath_carouselTiles = MR "/carousel/carouselTiles";

TQLModuleResponseCarouselHandlerBase::TQLModuleResponseCarouselHandlerBase(TQLResponse* response,
                                                                           const TQLCarouselRules& rules,
                                                                           TQLModuleResponseCarousel* record)
    : TQLModuleResponseCarouselHandlerBase(response, rules, record, &record->m_contents, &record->expiry)
{
}

TQLModuleResponseCarouselHandlerBase::TQLModuleResponseCarouselHandlerBase(TQLResponse* response,
                                                                           const TQLCarouselRules& rules,
                                                                           TQLModuleResponseSearch* record)
    : TQLModuleResponseCarouselHandlerBase(response, rules, record, &record->m_contents, nullptr)
{
}

TQLModuleResponseCarouselHandlerBase::TQLModuleResponseCarouselHandlerBase(TQLResponse* response,
                                                                           const TQLCarouselRules& rules,
                                                                           TQLModuleResponseBase* record,
                                                                           tql_list<TQLContent>* contents,
                                                                           tql_string* expiry)
    : TQLModuleHandlerBase(response),
      m_rules(rules),
      m_contents(contents),
      m_expiry(expiry),
      m_textValuePath(std::string(rules.tileRoot) + scPath_textValue)
{
    m_moduleResponse = record;
}

int TQLModuleResponseCarouselHandlerBase::handleString(const char* path, const tql_string& value)
{
    beforeString();
    if (takeEnvelopeString(path, value))
        return 1;
    if (m_rules.readsCarouselTitle && is(path, scPath_carouselTitle)) {
        m_carouselTitle = value;
        return 1;
    }
    if (!tileEventsOpen())
        return 1;
    if (m_expiry && is(path, scPath_expiry)) {
        *m_expiry = value;
        return 1;
    }
    if (const char* field = tileField(path))
        tileString(field, value);
    return 1;
}

int TQLModuleResponseCarouselHandlerBase::handleEndMap(const char* path)
{
    if (is(path, scPath_modules)) {
        moduleEnded();
        return 1;
    }
    if (m_rules.readsCarouselTitle && is(path, scPath_carousel)) {
        m_carouselTitle = tql_string();
        return 1;
    }
    const char* field = tileEventsOpen() ? tileField(path) : nullptr;
    if (!field)
        return 1;
    if (is(field, scPath_tile))
        endTile();
    else if (is(field, scPath_tileAssetInfo))
        m_assetInfoKey = tql_string(); // a value without its own key is lost
    else if (is(field, scPath_tileText))
        endText();
    else if (is(field, scPath_tileImage))
        endImage();
    return 1;
}

// The rest of a path below the tile root ("" for the tile itself), or null.
// A longer sibling key leaves a rest that no tile constant matches.
const char* TQLModuleResponseCarouselHandlerBase::tileField(const char* path) const
{
    size_t length = strlen(m_rules.tileRoot);
    return strncmp(path, m_rules.tileRoot, length) == 0 ? path + length : nullptr;
}

void TQLModuleResponseCarouselHandlerBase::tileString(const char* field, const tql_string& value)
{
    if (is(field, scPath_tileContentType) || is(field, scPath_tileContentSubType)) {
        setTileType(field, value);
    } else if (is(field, scPath_assetInfoKey)) {
        m_assetInfoKey = value;
    } else if (is(field, scPath_assetInfoValue)) {
        applyAssetInfo(value);
    } else if (is(field, scPath_imageClass)) {
        m_imageClass = value;
    } else if (is(field, scPath_imageLink)) {
        if (isLogoClass())
            m_logoUrl = value;
    } else if (is(field, scPath_textClass)) {
        m_textClass = value;
    } else if (is(field, scPath_textValue)) {
        // Class and value may come in either order; a value held here is
        // applied when its map ends.
        if (m_textClass.isEmpty())
            m_pendingText = value;
        else
            applyText(value);
    }
}

void TQLModuleResponseCarouselHandlerBase::setTileType(const char* field, const tql_string& value)
{
    for (const TypeRule& rule : kTileTypes) {
        if (!(rule.kinds & m_rules.kind) || !is(field, rule.field) || value != rule.text)
            continue;
        if (rule.type == kDropTile)
            m_dropTile = 1;
        else
            m_tile.type = rule.type;
        return;
    }
}

bool TQLModuleResponseCarouselHandlerBase::isLogoClass() const
{
    for (const LogoClass& logo : kLogoClasses)
        if ((logo.kinds & m_rules.kind) && m_imageClass == logo.text)
            return true;
    return false;
}

void TQLModuleResponseCarouselHandlerBase::applyAssetInfo(const tql_string& value)
{
    const unsigned type = typeBit(m_tile.type);
    for (const AssetRule& rule : kAssetRules) {
        if (!(rule.kinds & m_rules.kind) || !(rule.types & type) || m_assetInfoKey != rule.key)
            continue;
        switch (rule.action) {
        case kSet:
            m_tile.*rule.field = value;
            break;
        case kSetIfEmpty:
            if ((m_tile.*rule.field).isEmpty())
                m_tile.*rule.field = value;
            break;
        case kChannelNumber:
            m_tile.tamberChannelNumber = value.toInt(nullptr, 10); // 0 for junk or out of range
            m_tile.qlChannelNumber = m_tile.tamberChannelNumber;
            break;
        case kPlaceholder:
            if (value == "true")
                m_dropTile = 1;
            break;
        }
    }
}

void TQLModuleResponseCarouselHandlerBase::applyText(const tql_string& value)
{
    const unsigned type = typeBit(m_tile.type);
    for (const TextRule& rule : kTextRules) {
        if (!(rule.kinds & m_rules.kind) || !(rule.types & type) || m_textClass != rule.textClass)
            continue;
        switch (rule.action) {
        case kDescriptionValueDotName:
            // The name is whatever the asset info gave so far, perhaps nothing yet.
            m_tile.description = value + scSeparator + m_tile.name;
            break;
        case kDescriptionValue:
            m_tile.description = value;
            break;
        case kDescriptionDotValue:
            m_tile.description += scSeparator + value;
            break;
        case kDescriptionDotEpisodeCount:
            m_tile.description += scSeparator;
            if (value.toLower().contains("episode"))
                m_tile.description += value;
            else
                m_dropTile = 1;
            break;
        case kEpisodeAirDate:
            applyEpisodeLine1(value);
            break;
        case kNameValue:
            m_tile.name = value;
            break;
        }
        return;
    }
}

// The air time sits as epoch seconds in ten columns from column 19. A text
// too short, junk or a time before the epoch counts as time 0.
void TQLModuleResponseCarouselHandlerBase::applyEpisodeLine1(const tql_string& value)
{
    long long seconds = value.mid(19, 10).toInt64(nullptr, 10); // ten digits cannot overflow
    const tamberTime aired(seconds > 0 ? static_cast<uint64_t>(seconds) * 1000 : 0);
    m_tile.episodeStart = aired.tamberTimeGetTimeAsConsumeString();
    m_tile.description = aired.tamberTimeGetTimeAsDate();
}

void TQLModuleResponseCarouselHandlerBase::endTile()
{
    if (keepsTile())
        m_contents->push_back(m_tile);
    m_tile = TQLContent();
    m_logoUrl = tql_string();
    m_imageClass = tql_string();
    m_assetInfoKey = tql_string();
    m_textClass = tql_string();
    m_pendingText = tql_string();
    m_dropTile = 0;
}

void TQLModuleResponseCarouselHandlerBase::endText()
{
    if (!m_pendingText.isEmpty()) {
        const tql_string text(m_pendingText); // the call may store into m_pendingText
        handleString(m_textValuePath.c_str(), text);
    }
    m_textClass = tql_string();
    m_pendingText = tql_string();
}

// Only the first qualifying logo of a tile counts.
void TQLModuleResponseCarouselHandlerBase::endImage()
{
    if (m_tile.images.empty() && !m_logoUrl.isEmpty())
        m_tile.images = createScaledLogos();
    m_imageClass = tql_string();
    m_logoUrl = tql_string();
}

tql_list<TQLImage> TQLModuleResponseCarouselHandlerBase::createScaledLogos() const
{
    tql_list<TQLImage> logos;
    if (m_logoUrl.isEmpty())
        return logos;
    const tql_url source(m_logoUrl, m_rules.lowerCaseLogoHost);
    for (int size : {700, 500, 300, 100})
        logos.push_back(sizedLogo(source, size, m_rules.repairsSchemelessLogo));
    return logos;
}
