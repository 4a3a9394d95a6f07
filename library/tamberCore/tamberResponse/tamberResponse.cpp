#include "tamberResponse.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "tamberResponse/tamberAODListing.h"
#include "tamberResponse/tamberChannelListPDT.h"
#include "tamberResponse/tamberChannelListing.h"
#include "tamberResponse/tamberEpisodeListing.h"
#include "tamberResponse/tamberDravTune.h"
#include "tamberResponse/tamberFavoritesCarousel.h"
#include "tamberResponse/tamberForYou.h"
#include "tamberResponse/tamberForYouCarousel.h"
#include "tamberResponse/tamberNowPlaying.h"
#include "tamberResponse/tamberProfileCollation.h"
#include "tamberResponse/tamberRecentsCarousel.h"
#include "tamberResponse/tamberSearch.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const char scPath_status[] = "/status";
const char scPath_messages[] = "/messages";
const char scPath_messagesCode[] = "/messages/code";
const char scPath_messagesMessage[] = "/messages/message";
const char scPath_moduleArea[] = "/moduleList/modules/moduleArea";
const char scPath_moduleType[] = "/moduleList/modules/moduleType";
const char scPath_screen[] = "/moduleList/modules/moduleResponse/screen";
const char scPath_updateFrequency[] = "/moduleList/modules/updateFrequency";
const char scPath_showList[] = "/showList";

bool equals(const char* a, const char* b)
{
    return strcmp(a, b) == 0;
}

// strcmp of a path of known length with one of the constants above, without
// its walk along the long head most paths share with them: a path shorter
// than the constant, or one that goes on past it, is told by one byte. (A
// key may hold a decoded NUL; the path then ends there, as for strcmp.)
template <size_t N>
bool is(const char* path, size_t length, const char (&constant)[N])
{
    return length >= N - 1 && path[N - 1] == '\0' && memcmp(path, constant, N - 1) == 0;
}
} // namespace

const char* const TQLResponseHandler::scPath_root = "/";
const char* const TQLResponseHandler::scModule_routing = "Routing";
const char* const TQLResponseHandler::scModule_auth = "UserFlow";
const char* const TQLResponseHandler::scModule_config = "Configuration";
const char* const TQLResponseHandler::scModule_channelListing = "ChannelListing";
const char* const TQLResponseHandler::scModule_tune = "NowPlayingTimelineFeed";
const char* const TQLResponseHandler::scModule_dravTune = "Discover";
const char* const TQLResponseHandler::scModule_search = "search";
const char* const TQLResponseHandler::scModule_forYouCarousel = "for_you";
const char* const TQLResponseHandler::scModule_favoritesCarousel = "favorites_norvale";
const char* const TQLResponseHandler::scModule_recentsCarousel = "recents";
const char* const TQLResponseHandler::scModule_resume = "Welcome";
const char* const TQLResponseHandler::scModule_noop = "";
const char* const TQLResponseHandler::scModule_AODListing = "AoD";
const char* const TQLResponseHandler::scModule_PDT = "PDT";
const char* const TQLResponseHandler::scModule_episodeListing = "Episodes";
const char* const TQLResponseHandler::scKey_recommender = "/moduleList/modules/moduleResponse/tqlRecommender";

int truncToInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 2147483647.0)
        return 2147483647;
    if (value <= -2147483648.0)
        return -2147483647 - 1;
    return static_cast<int>(value);
}

TQLResponse::TQLResponse()
    : m_status(0), m_updateFrequency(0), m_wallClockRenderTime(""), m_remainingLockoutMinutes(0),
      m_remainingLockoutSeconds(0)
{
}

TQLResponse::~TQLResponse()
{
    releaseModules();
}

void TQLResponse::releaseModules()
{
    // A reply with several module elements can leave one record in more than
    // one entry; each is released once.
    std::set<void*> released;
    for (TQLModule& module : m_modules) {
        if (module.m_moduleRequest && released.insert(module.m_moduleRequest).second) {
            module.m_moduleRequest->clear();
            delete module.m_moduleRequest;
        }
        if (module.m_moduleResponse && released.insert(module.m_moduleResponse).second) {
            module.m_moduleResponse->clear();
            delete module.m_moduleResponse;
        }
    }
    m_modules.clear();
}

void TQLResponse::reset()
{
    releaseModules();
    m_messages.clear();
    m_status = 0;
    m_updateFrequency = 0;
    m_wallClockRenderTime = "";
    m_remainingLockoutMinutes = 0;
    m_remainingLockoutSeconds = 0;
}

TQLModuleHandlerBase::TQLModuleHandlerBase(TQLResponse* response)
    : m_response(response), m_moduleResponse(nullptr)
{
}

TQLModuleHandlerBase::~TQLModuleHandlerBase()
{
    // A record that never reached the reply (the handler was replaced before
    // its module ended) is still this handler's.
    bool stored = false;
    for (const TQLModule& module : m_response->m_modules)
        stored = stored || module.m_moduleResponse == m_moduleResponse;
    if (!stored)
        delete m_moduleResponse;
}

int TQLModuleHandlerBase::handleNull(const char*) { return 1; }
int TQLModuleHandlerBase::handleBoolean(const char*, int) { return 1; }
int TQLModuleHandlerBase::handleNumber(const char*, double) { return 1; }
int TQLModuleHandlerBase::handleString(const char*, const tql_string&) { return 1; }
int TQLModuleHandlerBase::handleMapKey(const char*, tql_bytearray&) { return 1; }
int TQLModuleHandlerBase::handleStartMap(const char*) { return 1; }
int TQLModuleHandlerBase::handleEndMap(const char*) { return 1; }
int TQLModuleHandlerBase::handleStartArray(const char*) { return 1; }
int TQLModuleHandlerBase::handleEndArray(const char*) { return 1; }

void TQLModuleHandlerBase::storeModule()
{
    m_module.m_moduleResponse = m_moduleResponse;
    m_response->m_modules.push_back(m_module);
}

bool TQLModuleHandlerBase::takeEnvelopeString(const char* path, const tql_string& value)
{
    // Every string of a reply passes here; nearly none has the length of the two.
    static_assert(sizeof scPath_moduleArea == sizeof scPath_moduleType, "one length for both");
    if (strnlen(path, sizeof scPath_moduleArea) != sizeof scPath_moduleArea - 1)
        return false;
    if (equals(path, scPath_moduleArea)) {
        m_module.moduleArea = value;
        return true;
    }
    if (equals(path, scPath_moduleType)) {
        m_module.moduleType = value;
        return true;
    }
    return false;
}

TQLResponseHandler::TQLResponseHandler(TQLResponse* response, tql_channelCallBackIf* callback)
    : m_response(response),
      m_callback(callback),
      m_path(static_cast<char*>(tql_malloc(kPathSize))),
      m_pathLength(0),
      m_moduleHandler(nullptr),
      m_shortStart(kNoShortPath),
      m_heldTextBytes(0)
{
    if (!m_path) {
        fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", "tamberCore/tamberResponse/tamberResponse", 1,
                "TQLResponseHandler::TQLResponseHandler(TQLResponse*, tql_channelCallBackIf*)", "m_path");
        abort();
    }
    memset(m_path, 0, kPathSize);
}

TQLResponseHandler::~TQLResponseHandler()
{
    tql_free(m_path);
    delete m_moduleHandler;
}

int TQLResponseHandler::pathAppend(const unsigned char* text, unsigned int length)
{
    if (length + 2 + m_pathLength > kPathSize - 1) {
        TQL_LOG(1, "Unable to add path level");
        return 0;
    }
    m_path[m_pathLength++] = '/';
    if (length)
        memcpy(m_path + m_pathLength, text, length);
    m_pathLength += length;
    m_path[m_pathLength] = '\0';
    if (m_shortStart == kNoShortPath)
        m_shortStart = kShortPathUnknown; // the new level may hold it
    return 1;
}

void TQLResponseHandler::pathTakeLast()
{
    for (unsigned int i = m_pathLength; i > 0; --i) {
        if (m_path[i - 1] == '/') {
            // One terminator is enough: every append writes its own.
            m_path[i - 1] = '\0';
            m_pathLength = i - 1;
            if (m_shortStart >= static_cast<int>(m_pathLength))
                m_shortStart = kShortPathUnknown;
            return;
        }
    }
}

const char* TQLResponseHandler::printPath(int level) const
{
    if (level == 0)
        return m_path;
    if (level == 1) {
        if (m_shortStart == kShortPathUnknown) {
            m_shortStart = kNoShortPath;
            int seen = 0;
            for (unsigned int i = 0; i < m_pathLength; ++i)
                if (m_path[i] == '/' && ++seen == 2) {
                    m_shortStart = static_cast<int>(i);
                    break;
                }
        }
        return m_shortStart == kNoShortPath ? scPath_root : m_path + m_shortStart;
    }
    int seen = 0;
    for (unsigned int i = 0; i < m_pathLength; ++i)
        if (m_path[i] == '/' && ++seen == level + 1)
            return m_path + i;
    return scPath_root;
}

int TQLResponseHandler::pathDepth() const
{
    int depth = 0;
    for (unsigned int i = 0; i < m_pathLength; ++i)
        depth += m_path[i] == '/';
    return depth;
}

bool TQLResponseHandler::isShowList(const char* fullPath) const
{
    // Nearly every path turns away at its second character.
    return fullPath[0] == '/' && fullPath[1] == 's' &&
           strncmp(fullPath, scPath_showList, sizeof scPath_showList - 1) == 0;
}

namespace {
// The length of a text printPath gave: the path's own tail, or the root constant.
size_t lengthOf(const char* printed, const char* path, unsigned int pathLength)
{
    if (printed == TQLResponseHandler::scPath_root)
        return strlen(printed);
    return static_cast<size_t>(path + pathLength - printed);
}
} // namespace

int TQLResponseHandler::handleBooleanIf(int value)
{
    const char* full = printPath(0);
    const char* shortPath = printPath(1);
    if (m_moduleHandler)
        return m_moduleHandler->handleBoolean(isShowList(full) ? full : shortPath, value);
    if (!holdRoom(strlen(shortPath)))
        return 0;
    m_tmpBooleans.push_back(tql_pair<tql_string, int>(tql_string(shortPath), value));
    m_tmpOrder.push_back(handlerBoolean);
    return 1;
}

int TQLResponseHandler::handleNumberIf(double value)
{
    const char* full = printPath(0);
    const char* shortPath = printPath(1);
    const size_t fullLength = m_pathLength;
    const size_t shortLength = lengthOf(shortPath, m_path, m_pathLength);
    // The envelope counts only while no handler exists: after the selection
    // a number goes to the handler alone.
    if (m_moduleHandler)
        return m_moduleHandler->handleNumber(isShowList(full) ? full : shortPath, value);
    if (!holdRoom(strlen(shortPath)))
        return 0;
    m_tmpNumbers.push_back(tql_pair<tql_string, double>(tql_string(shortPath), value));
    m_tmpOrder.push_back(handlerNumber);

    if (is(full, fullLength, scPath_messagesCode) || is(shortPath, shortLength, scPath_messagesCode)) {
        // A code can only follow a message map, which made the entry; a reply
        // that breaks that is dropped here rather than trusted.
        if (m_response->m_messages.empty()) {
            TQL_LOG(2, "Message code without a message, dropped");
        } else {
            TQLMessagesType message = m_response->m_messages.back();
            m_response->m_messages.pop_back();
            message.m_code = truncToInt(value);
            m_response->m_messages.push_back(message);
        }
    } else if (is(full, fullLength, scPath_status) || is(shortPath, shortLength, scPath_status)) {
        m_response->m_status = truncToInt(value);
    }
    if (is(shortPath, shortLength, scPath_updateFrequency))
        m_response->m_updateFrequency = truncToInt(value);
    return 1;
}

int TQLResponseHandler::handleStringIf(const tql_string& value)
{
    const char* full = printPath(0);
    const char* shortPath = printPath(1);
    if (m_moduleHandler && isShowList(full))
        return m_moduleHandler->handleString(full, value);
    const size_t shortLength = lengthOf(shortPath, m_path, m_pathLength);

    if (is(shortPath, shortLength, scPath_moduleArea) || is(shortPath, shortLength, scPath_moduleType) ||
        is(shortPath, shortLength, scPath_screen)) {
        selectModulHandler(value);
    } else if (is(shortPath, shortLength, scPath_messagesCode) || is(shortPath, shortLength, scPath_messagesMessage)) {
        if (m_response->m_messages.empty()) {
            TQL_LOG(2, "Message text without a message, dropped");
        } else {
            TQLMessagesType message = m_response->m_messages.back();
            m_response->m_messages.pop_back();
            if (is(shortPath, shortLength, scPath_messagesCode))
                message.m_codeText = value;
            else
                message.m_message = value;
            m_response->m_messages.push_back(message);
        }
    }
    if (is(shortPath, shortLength, scPath_updateFrequency))
        m_response->m_updateFrequency = value.toInt(nullptr, 10);

    if (m_moduleHandler)
        return m_moduleHandler->handleString(shortPath, value);
    if (!holdRoom(strlen(shortPath) + static_cast<size_t>(value.length())))
        return 0;
    m_tmpStrings.push_back(tql_pair<tql_string, tql_string>(tql_string(shortPath), value));
    m_tmpOrder.push_back(handlerString);
    return 1;
}

int TQLResponseHandler::handleMapKeyIf(const unsigned char* key, unsigned int length)
{
    pathTakeLast();
    if (!pathAppend(key, length)) {
        TQL_LOG(1, "Unable to add path level");
        return 0;
    }
    if (m_moduleHandler)
        return 1;
    // Made by the presence of the key alone; held events wait for a later
    // selecting value.
    m_moduleHandler = createHandlerForKey(printPath(1));
    return 1;
}

int TQLResponseHandler::handleStartMapIf()
{
    const char* full = printPath(0);
    const char* shortPath = printPath(1);
    if (equals(shortPath, scPath_messages)) {
        // Each message map costs an entry whatever it holds; a reply with
        // more than any service sends is refused.
        if (m_response->m_messages.size() >= kMessageLimit) {
            TQL_LOG(1, "Reply carries more than %d messages, dropped", static_cast<int>(kMessageLimit));
            return 0;
        }
        m_response->m_messages.push_back(TQLMessagesType());
    }

    if (equals(full, scPath_showList)) {
        selectModulHandler(tql_string("Episodes"));
        if (!pathAppend(nullptr, 0)) {
            TQL_LOG(1, "Unable to add path level");
            return 0;
        }
        return m_moduleHandler ? m_moduleHandler->handleStartMap(full) : 1;
    }

    static const unsigned char placeholder = 0;
    if (!pathAppend(&placeholder, 1)) {
        TQL_LOG(1, "Unable to add path level");
        return 0;
    }
    // shortPath points into the path, so it shows the new level already.
    if (m_moduleHandler)
        return m_moduleHandler->handleStartMap(shortPath);
    if (!holdRoom(strlen(shortPath)))
        return 0;
    m_tmpStartMaps.push_back(tql_string(shortPath));
    m_tmpOrder.push_back(handlerStartMap);
    return 1;
}

int TQLResponseHandler::handleEndMapIf()
{
    const char* full = printPath(0);
    const char* shortPath = printPath(1);
    pathTakeLast();
    if (m_moduleHandler)
        return m_moduleHandler->handleEndMap(isShowList(full) ? full : shortPath);
    if (!holdRoom(strlen(shortPath)))
        return 0;
    m_tmpEndMaps.push_back(tql_string(shortPath));
    m_tmpOrder.push_back(handlerEndMap);
    return 1;
}

int TQLResponseHandler::handleEndArrayIf()
{
    const char* full = printPath(0);
    if (m_moduleHandler && isShowList(full))
        return m_moduleHandler->handleEndArray(full);
    return 1;
}

TQLModuleHandlerBase* TQLResponseHandler::createModuleHandler(const tql_string& value)
{
    // First equal text wins. Rows whose handler is not in this build select
    // nothing, and such a reply yields its envelope only. The resume
    // ("Welcome") and no-op ("") replies have no row on purpose.
    if (value == scModule_routing)
        return new TQLModuleResponseRoutingHandler(m_response);
    if (value == scModule_auth)
        return new TQLModuleResponseAuthHandler(m_response);
    if (value == scModule_config)
        return new TQLModuleResponseConfigHandler(m_response);
    if (value == scModule_channelListing)
        return new TQLModuleResponseChannelListingHandler(m_response, m_callback);
    if (value == scModule_tune)
        return new TQLModuleResponseNowPlayingHandler(m_response);
    if (value == scModule_dravTune)
        return new TQLModuleResponseTuneToDravHandler(m_response);
    if (value == scModule_search)
        return new TQLModuleResponseSearchHandler(m_response);
    if (value == scModule_forYouCarousel)
        return new TQLModuleResponseForYouCarouselHandler(m_response, m_callback);
    if (value == scModule_favoritesCarousel)
        return new TQLModuleResponseFavoritesCarouselHandler(m_response);
    if (value == scModule_recentsCarousel)
        return new TQLModuleResponseRecentsCarouselHandler(m_response);
    if (value == scModule_AODListing)
        return new TQLModuleResponseAODListingHandler(m_response);
    if (value == scModule_PDT)
        return new TQLModuleResponseChannelListPDTHandler(m_response);
    if (value == scModule_episodeListing)
        return new TQLModuleResponseEpisodeListingHandler(m_response);
    return nullptr;
}

TQLModuleHandlerBase* TQLResponseHandler::createHandlerForKey(const char* shortPath)
{
    if (equals(shortPath, scKey_recommender))
        return new TQLModuleResponseForYouHandler(m_response, m_callback);
    return createProfileCollationHandler(shortPath, m_response, m_callback);
}

void TQLResponseHandler::selectModulHandler(const tql_string& value)
{
    TQLModuleHandlerBase* handler = createModuleHandler(value);
    if (handler) {
        delete m_moduleHandler;
        m_moduleHandler = handler;
    }
    if (m_moduleHandler)
        processTmpModulHandler();
}

void TQLResponseHandler::processTmpModulHandler()
{
    TQL_LOG(4, "Posteriorly process response body after the module handler was created. Lines: %d, ",
            static_cast<int>(m_tmpOrder.size()));
    size_t b = 0, n = 0, s = 0, start = 0, end = 0;
    for (tql_handlerType kind : m_tmpOrder) {
        switch (kind) {
        case handlerBoolean:
            if (b < m_tmpBooleans.size()) {
                m_moduleHandler->handleBoolean(m_tmpBooleans[b].first.c_str(), m_tmpBooleans[b].second);
                ++b;
            }
            break;
        case handlerNumber:
            if (n < m_tmpNumbers.size()) {
                m_moduleHandler->handleNumber(m_tmpNumbers[n].first.c_str(), m_tmpNumbers[n].second);
                ++n;
            }
            break;
        case handlerString:
            if (s < m_tmpStrings.size()) {
                m_moduleHandler->handleString(m_tmpStrings[s].first.c_str(), m_tmpStrings[s].second);
                ++s;
            }
            break;
        case handlerStartMap:
            if (start < m_tmpStartMaps.size())
                m_moduleHandler->handleStartMap(m_tmpStartMaps[start++].c_str());
            break;
        case handlerEndMap:
            if (end < m_tmpEndMaps.size())
                m_moduleHandler->handleEndMap(m_tmpEndMaps[end++].c_str());
            break;
        }
    }
    clearHeld();
}

void TQLResponseHandler::clearHeld()
{
    // Swapped out rather than cleared, so that their storage goes too.
    tql_list<tql_pair<tql_string, int>>().swap(m_tmpBooleans);
    tql_list<tql_pair<tql_string, double>>().swap(m_tmpNumbers);
    tql_list<tql_pair<tql_string, tql_string>>().swap(m_tmpStrings);
    tql_list<tql_string>().swap(m_tmpStartMaps);
    tql_list<tql_string>().swap(m_tmpEndMaps);
    tql_list<tql_handlerType>().swap(m_tmpOrder);
    m_heldTextBytes = 0;
}

bool TQLResponseHandler::holdRoom(size_t textBytes)
{
    if (m_tmpOrder.size() < kHeldEventLimit && m_heldTextBytes + textBytes <= kHeldTextLimit) {
        m_heldTextBytes += textBytes;
        return true;
    }
    TQL_LOG(1, "Reply holds too much before its module type (%d events, %d bytes), dropped",
            static_cast<int>(m_tmpOrder.size()), static_cast<int>(m_heldTextBytes));
    clearHeld();
    return false;
}
