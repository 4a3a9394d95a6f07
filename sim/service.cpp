#include "service.h"

#include "json_tree.h"
#include "json_writer.h"
#include "shows.h"

#include <yajl/yajl_tree.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <memory>

namespace tqlsim {

namespace {

using Writer = std::function<void(JsonWriter&)>;

const size_t kMaxEchoedText = 256;
// Tile lists stay good this long; the library asks again after that.
const int kCarouselLifetimeSeconds = 3600;
// The search results sit under a title the library reads them under.
const char* const kSearchTitle = "Channels & Shows";
const char* const kRecentsTitle = "Recently played";
// Images are served under this path; the configuration names it "Root".
const char* const kImagePath = "/images";
const char* const kImagePlaceholder = "%Root%";

const char* messageText(int code)
{
    switch (code) {
    case 100: return "Successful request";
    case 101: return "Invalid username or password";
    case 102: return "Too many login attempts, account locked";
    case 201: return "Authentication required";
    case 204: return "Logged in on another device";
    case 208: return "Invalid or expired session";
    case 309: return "Content not available";
    case 600: return "Bad request";
    case 5140: return "No active subscription";
    case 5200: return "Account payment past due";
    case 5230: return "Account closed";
    case 5260: return "Account not supported on this device";
    default: return "Error";
    }
}

// The reply frame. Status and messages come before the module list: the
// library reads them only until a module has been recognised.
std::string envelope(int status, std::initializer_list<int> codes, const Writer& modules = nullptr)
{
    JsonWriter w;
    w.beginObject().key("TamberQLMessage").beginObject();
    w.field("status", status);
    w.key("messages").beginArray();
    for (int code : codes)
        w.beginObject().field("code", code).field("message", messageText(code)).endObject();
    w.endArray();
    w.key("moduleList").beginObject().key("modules").beginArray();
    if (modules)
        modules(w);
    w.endArray().endObject();
    w.endObject().endObject();
    return w.str();
}

// One module: area, type, then the response object filled by `content`.
void module(JsonWriter& w, const char* area, const char* type, const Writer& content)
{
    w.beginObject().field("moduleArea", area).field("moduleType", type);
    w.key("moduleResponse").beginObject();
    if (content)
        content(w);
    w.endObject().endObject();
}

Reply json(const std::string& body)
{
    Reply r;
    r.body = body;
    return r;
}

Reply failure(int code) { return json(envelope(0, {code})); }
Reply badRequest() { return failure(600); }

Reply success(const char* area, const char* type, const Writer& content = nullptr)
{
    return json(envelope(1, {100}, [&](JsonWriter& w) { module(w, area, type, content); }));
}

// moduleList.modules[0] of a request document, or null.
yajl_val firstModule(yajl_val root)
{
    yajl_val modules = find(root, {"moduleList", "modules"});
    if (!YAJL_IS_ARRAY(modules) || modules->u.array.len == 0)
        return nullptr;
    yajl_val first = modules->u.array.values[0];
    return YAJL_IS_OBJECT(first) ? first : nullptr;
}

bool textAt(yajl_val node, std::initializer_list<const char*> keys, std::string& out)
{
    yajl_val v = find(node, keys);
    if (!YAJL_IS_STRING(v))
        return false;
    out = YAJL_GET_STRING(v);
    return true;
}

std::string sessionCookie(const httplib::Request& req)
{
    size_t n = req.get_header_value_count("Cookie");
    for (size_t i = 0; i < n; ++i) {
        std::string all = req.get_header_value("Cookie", i);
        size_t pos = 0;
        while (pos < all.size()) {
            size_t end = all.find(';', pos);
            if (end == std::string::npos)
                end = all.size();
            size_t start = all.find_first_not_of(' ', pos);
            if (start < end && all.compare(start, 8, "SESSION=") == 0)
                return all.substr(start + 8, end - start - 8);
            pos = end + 1;
        }
    }
    return "";
}

// Now, or that many seconds from now, as the service writes times.
std::string wallClock(int fromNowSeconds = 0)
{
    auto now = std::chrono::system_clock::now() + std::chrono::seconds(fromNowSeconds);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    std::time_t secs = static_cast<std::time_t>(ms / 1000);
    std::tm tm{};
    gmtime_r(&secs, &tm);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03d+00:00", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                  static_cast<int>(ms % 1000));
    return buf;
}

int64_t nowMs()
{
    auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string param(const httplib::Request& req, const char* name)
{
    std::string v = req.get_param_value(name);
    return v.size() > kMaxEchoedText ? v.substr(0, kMaxEchoedText) : v;
}

void writeImage(JsonWriter& w, const Image& img)
{
    w.beginObject().field("name", img.name).field("url", img.url).field("platform", "web");
    w.field("height", img.height).field("width", img.width).endObject();
}

// Each tile list names its assets with keys of its own, as the service has
// always sent them; the library reads each list by its own keys.
enum class TileList { Favorites, Recents, ForYou, Search };

void assetInfo(JsonWriter& w, const char* key, const std::string& value)
{
    w.beginObject().field("assetInfoKey", key).field("assetInfoValue", value).endObject();
}

// Recommendations and search results carry whole image URLs: the library
// lowers the host part of those links when it sizes them, which would spoil
// a placeholder. The other lists keep the catalog's link for the library to
// resolve.
std::string tileLink(const std::string& link, TileList list, const std::string& imageRoot)
{
    const std::string placeholder = std::string(kImagePlaceholder) + "/";
    bool whole = list == TileList::ForYou || list == TileList::Search;
    if (!whole || link.compare(0, placeholder.size(), placeholder) != 0)
        return link;
    return imageRoot + link.substr(placeholder.size() - 1);
}

// The logo, when there is one, and one line of display text.
void tileMarkup(JsonWriter& w, const std::string& logo, const char* textClass, const std::string& text)
{
    w.key("tileMarkup").beginObject().key("tileImage").beginArray();
    if (!logo.empty())
        w.beginObject().field("imageClass", "logo").field("imageLink", logo).endObject();
    w.endArray().key("tileText").beginArray();
    w.beginObject().field("textClass", textClass).field("textValue", text).endObject();
    w.endArray().endObject();
}

void channelTile(JsonWriter& w, const Channel& ch, TileList list, const std::string& logo)
{
    w.beginObject().field("tileContentType", "channel").key("tileAssetInfo").beginArray();
    if (list == TileList::Favorites)
        assetInfo(w, "favAssetGuid", ch.guid);
    assetInfo(w, list == TileList::Recents ? "channelGUID" : "channelGuid", ch.guid);
    assetInfo(w, "channelName", ch.name);
    assetInfo(w, "channelId", ch.id);
    assetInfo(w, "channelNumber", std::to_string(ch.number));
    w.endArray();
    tileMarkup(w, logo, "line1", ch.description);
    w.endObject();
}

// A show tile's text is its episode count. Search results name the show by
// its long title alone: there a channel name would take the name's place.
void showTile(JsonWriter& w, const Show& show, const Channel& channel, TileList list,
              const std::string& logo)
{
    w.beginObject().field("tileContentType", "show").key("tileAssetInfo").beginArray();
    if (list == TileList::Favorites) {
        assetInfo(w, "favAssetGuid", show.guid);
        assetInfo(w, "showGUID", show.guid);
    } else {
        assetInfo(w, "showGuid", show.guid);
    }
    if (list == TileList::Search) {
        assetInfo(w, "showLongTitle", show.title);
    } else {
        assetInfo(w, "showName", show.title);
        assetInfo(w, "channelName", channel.name);
    }
    assetInfo(w, "channelGuid", channel.guid);
    w.endArray();
    tileMarkup(w, logo, "line2",
               std::to_string(show.episodes) + (show.episodes == 1 ? " episode" : " episodes"));
    w.endObject();
}

// The tiles of a list of guids; the catalog has checked that each names a
// channel or a show, and that a show's channel exists.
void tiles(JsonWriter& w, const Catalog& cat, const std::vector<std::string>& guids, TileList list,
           const std::string& imageRoot)
{
    w.key("carouselTiles").beginArray();
    for (const std::string& guid : guids) {
        if (const Channel* ch = cat.findChannel(guid)) {
            channelTile(w, *ch, list, tileLink(ch->logo, list, imageRoot));
        } else if (const Show* show = cat.findShow(guid)) {
            if (const Channel* airedOn = cat.findChannel(show->channel))
                showTile(w, *show, *airedOn, list, tileLink(show->logo, list, imageRoot));
        }
    }
    w.endArray();
}

// Favorites come in the toggle selector's one segment.
Reply favoritesReply(const Catalog& cat, const std::vector<std::string>& guids, const std::string& imageRoot)
{
    return success("Discovery", "favorites_norvale", [&](JsonWriter& w) {
        w.key("contentToggleSelector").beginObject().key("selectorSegment").beginArray();
        w.beginObject().key("segmentCarousel").beginArray().beginObject();
        tiles(w, cat, guids, TileList::Favorites, imageRoot);
        w.endObject().endArray().endObject();
        w.endArray().endObject();
        w.field("expiry", wallClock(kCarouselLifetimeSeconds));
    });
}

// Recents, for you and search: one titled carousel. The title comes first,
// as the library reads search tiles only once it knows the title.
Reply carouselReply(const Catalog& cat, const char* type, TileList list, const std::string& title,
                    const std::vector<std::string>& guids, const std::string& imageRoot)
{
    return success("Discovery", type, [&](JsonWriter& w) {
        w.key("carousel").beginObject();
        w.key("carouselTitle").beginObject().field("textValue", title).endObject();
        tiles(w, cat, guids, list, imageRoot);
        w.endObject();
        if (list != TileList::Search)
            w.field("expiry", wallClock(kCarouselLifetimeSeconds));
    });
}

std::string lowerCase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Channels whose name and shows whose title hold the term, in catalog
// order, channels first. Case is ignored; an empty term finds nothing.
std::vector<std::string> searchMatches(const Catalog& cat, const std::string& term)
{
    std::vector<std::string> found;
    const std::string wanted = lowerCase(term);
    if (wanted.empty())
        return found;
    for (const Channel& ch : cat.channels)
        if (lowerCase(ch.name).find(wanted) != std::string::npos)
            found.push_back(ch.guid);
    for (const Show& show : cat.shows)
        if (lowerCase(show.title).find(wanted) != std::string::npos)
            found.push_back(show.guid);
    return found;
}

// A 1x1 transparent PNG, served for every image the catalog points at.
const unsigned char kPixel[] = {
    0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48, 0x44,
    0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00, 0x00, 0x1f,
    0x15, 0xc4, 0x89, 0x00, 0x00, 0x00, 0x0b, 0x49, 0x44, 0x41, 0x54, 0x78, 0x9c, 0x63, 0x60,
    0x00, 0x02, 0x00, 0x00, 0x05, 0x00, 0x01, 0x7a, 0x5e, 0xab, 0x3f, 0x00, 0x00, 0x00, 0x00,
    0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};

}  // namespace

Reply serverErrorReply()
{
    Reply r = json(envelope(0, {}));
    r.http = 500;
    return r;
}

Reply plainError(int http, const std::string& text)
{
    JsonWriter w;
    w.beginObject().field("error", text).endObject();
    Reply r = json(w.str());
    r.http = http;
    return r;
}

Service::Service(const Catalog& catalog, const AudioLoop& audio, SimState& state, const std::string& baseUrl)
    : catalog_(catalog), state_(state), base_(baseUrl), playback_(catalog, audio, state, baseUrl),
      clips_(catalog, audio, state)
{
}

Reply Service::handle(const httplib::Request& req)
{
    struct Route {
        const char* method;
        const char* path;
        Reply (Service::*fn)(const httplib::Request&);
    };
    static const Route routes[] = {
        {"POST", "/rest/v2/experience/modules/get/partner/", &Service::routing},
        {"GET", "/rest/v2/experience/modules/get/configuration", &Service::configuration},
        {"POST", "/rest/v2/experience/modules/modify/authentication-partner", &Service::login},
        {"POST", "/rest/v2/experience/modules/resume", &Service::resume},
        {"GET", "/rest/v2/experience/modules/get/noop", &Service::noop},
        {"POST", "/rest/v4/experience/modules/get", &Service::channelListing},
        {"GET", "/rest/v4/experience/carousels", &Service::carousel},
        {"GET", "/rest/v4/experience/modules/get/profile-gup-collation", &Service::collation},
        {"POST", "/rest/v4/experience/modules/modify", &Service::profileModify},
        {"POST", "/rest/v2/experience/modules/modify", &Service::settingsModify},
        {"POST", "/rest/v2/experience/modules/recommender", &Service::recommender},
        {"GET", "/rest/v2/experience/modules/get/discover-aod", &Service::onDemand},
        {"GET", "/rest/v2/experience/modules/get/geolocation", &Service::geolocation},
        {"GET", "/rest/v2/experience/modules/get/discover-channel-list", &Service::programData},
        {"GET", "/rest/v1/shows", &Service::episodes},
        {"GET", "/rest/v4/experience/modules/tune/now-playing-live", &Service::tuneLive},
        {"GET", "/rest/v2/experience/modules/tune/now-playing-aod", &Service::tuneOnDemand},
        {"GET", "/rest/v4/aic/tune", &Service::tuneClips},
        {"POST", "/rest/v4/aic/refresh-tracks", &Service::refreshTracks},
        {"POST", "/rest/v2/experience/modules/consumed", &Service::consume},
        {"POST", "/rest/v4/experience/modules/events/consume", &Service::consume},
    };
    for (const Route& r : routes) {
        if (req.path != r.path)
            continue;
        if (req.method != r.method)
            return plainError(405, "method not allowed");
        return (this->*r.fn)(req);
    }
    if (req.method == "GET" && req.path.compare(0, 8, "/images/") == 0)
        return image(req);
    if (req.method == "GET" && req.path.compare(0, 9, "/hls/aic/") == 0)
        return clips_.file(req);
    if (req.method == "GET" && req.path.compare(0, 5, "/hls/") == 0)
        return playback_.file(req, nowMs());
    return plainError(404, "not found");
}

bool Service::sessionRejected(const httplib::Request& req, Reply& reply, std::string* user)
{
    switch (state_.checkSession(sessionCookie(req), user)) {
    case SessionStatus::Valid: return false;
    case SessionStatus::Elsewhere: reply = failure(204); return true;
    case SessionStatus::Unknown: reply = failure(208); return true;
    }
    return false;
}

Reply Service::routing(const httplib::Request& req)
{
    if (!parseObject(req.body))
        return badRequest();
    return success("Routing", "PartnerDevices", [&](JsonWriter& w) {
        w.key("partnerDeviceList").beginObject().key("partnerDevices").beginArray();
        w.beginObject()
            .field("brandName", "Simulated Partner")
            .field("routingUrl", base_)
            .field("guid", "5e1d0c9a-7b2f-4c41-9a10-000000000001")
            .field("hlsVersion", "2")
            .field("active", true)
            .field("hlsProxy", false)
            .field("bizOnlyDevice", false)
            .field("resultTemplate", "norvale")
            .field("audioFirst", true)
            .endObject();
        w.endArray().endObject();
    });
}

Reply Service::configuration(const httplib::Request&)
{
    auto urls = [&](JsonWriter& w, const char* platform) {
        w.beginObject().field("platform", platform).key("relativeUrls").beginArray();
        const char* names[][2] = {{"Root", kImagePath},
                                  {"Live_Primary_HLS", "/hls/primary"},
                                  {"Live_Secondary_HLS", "/hls/secondary"},
                                  {"AOD_Primary_HLS", "/hls/aod/primary"},
                                  {"AOD_Secondary_HLS", "/hls/aod/secondary"},
                                  {"AIC_Primary_HLS", "/hls/aic/primary"},
                                  {"AIC_Secondary_HLS", "/hls/aic/secondary"}};
        for (const auto& n : names)
            w.beginObject().field("name", n[0]).field("url", base_ + n[1]).endObject();
        w.endArray().endObject();
    };
    return success("Configuration", "Configuration", [&](JsonWriter& w) {
        w.key("configuration").beginObject().key("components").beginArray();
        w.beginObject().field("name", "relativeUrls").key("settings").beginArray();
        urls(w, "norvale");
        urls(w, "web");
        w.endArray().endObject();
        w.endArray().endObject();
    });
}

Reply Service::login(const httplib::Request& req)
{
    Tree root = parseObject(req.body);
    yajl_val mod = firstModule(root.get());
    std::string user, password;
    if (!textAt(mod, {"moduleRequest", "standardAuth", "username"}, user) ||
        !textAt(mod, {"moduleRequest", "standardAuth", "password"}, password) || user.empty() ||
        user.size() > kMaxEchoedText)
        return badRequest();
    std::string deviceId;
    textAt(mod, {"moduleRequest", "deviceInfo", "clientDeviceId"}, deviceId);

    const Account* account = catalog_.findAccount(user);
    int locked = state_.lockoutLeft(user);
    if (!locked && account && account->state == "locked")
        locked = state_.lockoutSeconds();
    if (!locked && (!account || account->password != password)) {
        locked = state_.loginFailed(user);
        if (!locked)
            return failure(101);
    }
    if (locked) {
        return json(envelope(0, {102}, [&](JsonWriter& w) {
            module(w, "UserFlow", "UserFlow", [&](JsonWriter& m) {
                m.key("authenticationData").beginObject().field("username", user);
                m.field("remainingLockoutMinutes", locked / 60);
                m.field("remainingLockoutSeconds", locked % 60).endObject();
            });
        }));
    }
    const std::string& st = account->state;
    if (st == "nosubscription") return failure(5140);
    if (st == "pastdue") return failure(5200);
    if (st == "closed") return failure(5230);
    if (st == "incompatible") return failure(5260);

    state_.loginSucceeded(user);
    std::string session = state_.createSession(user);
    Reply r = json(envelope(1, {100}, [&](JsonWriter& w) {
        w.beginObject().field("moduleArea", "UserFlow").field("moduleType", "UserFlow");
        w.field("updateFrequency", catalog_.updateFrequency).field("wallClockRenderTime", wallClock());
        w.key("clientConfiguration").beginObject()
            .field("maximumAutoDownloads", 0)
            .field("cachedContentDeletionPeriodInDays", 30)
            .field("onDemandExpiryDays", 30)
            .field("authenticationGracePeriodInDays", 7)
            .field("activeListeningGracePeriodInMins", 240)
            .field("faqurl", base_ + "/faq")
            .field("fbLinkStatus", "NotLinked")
            .endObject();
        w.key("moduleResponse").beginObject();
        w.key("authenticationData").beginObject().field("sessionID", session).field("username", user);
        w.field("remainingLockoutMinutes", 0).field("remainingLockoutSeconds", 0).endObject();
        w.key("deviceSettingList").beginObject().key("deviceSettings").beginArray();
        w.beginObject().field("deviceId", deviceId).field("name", "audioQuality").field("value", "high").endObject();
        w.endArray().endObject();
        w.key("globalSettingList").beginObject().key("globalSettings").beginArray();
        for (const auto& setting : profiles_.get(user).settings)
            w.beginObject().field("settingName", setting.first).field("settingValue", setting.second).endObject();
        w.endArray().endObject();
        w.endObject().endObject();
    }));
    r.headers.push_back({"Set-Cookie", "SESSION=" + session + "; Path=/; HttpOnly"});
    return r;
}

Reply Service::resume(const httplib::Request& req)
{
    if (!parseObject(req.body))
        return badRequest();
    std::string session = sessionCookie(req);
    switch (state_.checkSession(session)) {
    case SessionStatus::Elsewhere:
        return failure(204);
    case SessionStatus::Unknown:
        // 201 with 208 tells the library to log in again rather than retry.
        return json(envelope(0, {208, 201}));
    case SessionStatus::Valid:
        break;
    }
    Reply r = success("UserFlow", "Welcome", [&](JsonWriter& w) {
        w.key("authenticationData").beginObject().field("sessionID", session).endObject();
    });
    r.headers.push_back({"Set-Cookie", "SESSION=" + session + "; Path=/; HttpOnly"});
    return r;
}

Reply Service::noop(const httplib::Request& req)
{
    Reply r;
    if (sessionRejected(req, r))
        return r;
    return json(envelope(1, {100}, [&](JsonWriter& w) {
        w.beginObject().field("moduleArea", "").field("moduleType", "");
        w.field("updateFrequency", catalog_.updateFrequency).endObject();
    }));
}

Reply Service::channelListing(const httplib::Request& req)
{
    Tree root = parseObject(req.body);
    std::string type;
    if (!textAt(firstModule(root.get()), {"moduleType"}, type) || type != "ChannelListing")
        return badRequest();
    Reply r;
    if (sessionRejected(req, r))
        return r;
    return json(lineup());
}

std::string Service::lineup()
{
    auto categoryChannels = [&](JsonWriter& w, const Category& cat) {
        w.key("channels").beginObject().key("channels").beginArray();
        for (const Channel& ch : catalog_.channels)
            for (const ChannelCategory& cc : ch.categories)
                if (cc.key == cat.key)
                    w.beginObject().field("channelGuid", ch.guid).field("name", ch.name).endObject();
        w.endArray().endObject();
    };
    auto category = [&](JsonWriter& w, const Category& cat) {
        w.beginObject().field("categoryGuid", cat.guid).field("name", cat.name);
        w.field("description", cat.description).field("key", cat.key).field("sortOrder", cat.sortOrder);
        w.key("images").beginObject().key("images").beginArray();
        for (const Image& img : cat.icons)
            writeImage(w, img);
        w.endArray().endObject();
        categoryChannels(w, cat);
        w.endObject();
    };
    auto superCategory = [&](JsonWriter& w, const SuperCategory& s) {
        w.beginObject().field("categoryGuid", s.guid).field("name", s.name);
        w.field("description", s.description).field("sortOrder", s.sortOrder);
        w.field("url", s.url).field("key", s.key);
        w.key("categories").beginObject().key("categories").beginArray();
        for (const Category& cat : s.categories)
            category(w, cat);
        w.endArray().endObject().endObject();
    };
    auto channel = [&](JsonWriter& w, const Channel& ch) {
        w.beginObject().field("channelGuid", ch.guid).field("channelId", ch.id);
        w.field("name", ch.name).field("streamingName", ch.streamingName);
        w.field("shortDescription", ch.description).field("tuneMethod", ch.tuneMethod);
        w.field("channelNumber", std::to_string(ch.number));
        w.field("tamberChannelNumber", std::to_string(ch.number));
        w.field("qlChannelNumber", std::to_string(ch.qlNumber));
        w.field("geoRestrictions", std::to_string(ch.geoRestrictions));
        w.field("sortOrder", ch.sortOrder).field("inactivityTimeout", ch.inactivityTimeout);
        w.key("inactivityTimeouts").beginArray();
        w.beginObject().field("platform", "tenfoot").field("value", 240).field("locale", "en-US").endObject();
        w.endArray();
        w.field("isAvailable", ch.available).field("isMature", ch.mature);
        w.field("isFavorite", ch.favorite).field("isBizMature", ch.bizMature);
        w.key("images").beginObject().key("images").beginArray();
        for (const Image& img : ch.images)
            writeImage(w, img);
        w.endArray().endObject();
        w.key("categories").beginObject().key("categories").beginArray();
        for (const ChannelCategory& cc : ch.categories) {
            const Category* cat = catalog_.findCategory(cc.key);
            w.beginObject().field("categoryGuid", cat ? cat->guid : "").field("name", cat ? cat->name : "");
            w.field("key", cc.key).field("order", cc.order).endObject();
        }
        w.endArray().endObject().endObject();
    };
    return envelope(1, {100}, [&](JsonWriter& w) {
        module(w, "Discovery", "ChannelListing", [&](JsonWriter& m) {
            m.key("contentData").beginObject().key("channelListing").beginObject();
            m.field("channelChangeId", catalog_.lineupVersion);
            m.key("superCategories").beginArray();
            for (const SuperCategory& s : catalog_.superCategories)
                superCategory(m, s);
            m.endArray();
            m.key("channels").beginArray();
            for (const Channel& ch : catalog_.channels)
                channel(m, ch);
            m.endArray();
            m.endObject().endObject();
        });
    });
}

Reply Service::carousel(const httplib::Request& req)
{
    Reply r;
    std::string user;
    if (sessionRejected(req, r, &user))
        return r;
    const std::string images = base_ + kImagePath;
    std::string page = param(req, "page-name");
    // Favorites and recents are the profile's, as the profile writes left them.
    if (page == "favorites_norvale")
        return favoritesReply(catalog_, favoriteGuids(user), images);
    if (page == "recents")
        return carouselReply(catalog_, "recents", TileList::Recents, kRecentsTitle,
                             profiles_.get(user).recents, images);
    if (page == "for_you")
        return carouselReply(catalog_, "for_you", TileList::ForYou, catalog_.forYou.title,
                             catalog_.forYou.items, images);
    if (page == "search")
        return carouselReply(catalog_, "search", TileList::Search, kSearchTitle,
                             searchMatches(catalog_, param(req, "search-term")), images);
    return badRequest();
}

Reply Service::recommender(const httplib::Request& req)
{
    if (!parseObject(req.body))
        return badRequest();
    Reply r;
    if (sessionRejected(req, r))
        return r;
    return success("Discovery", "RecommendationsForYou",
                   [&](JsonWriter& w) { writeRecommendations(w, catalog_, base_ + kImagePath); });
}

Reply Service::onDemand(const httplib::Request& req)
{
    Reply r;
    if (sessionRejected(req, r))
        return r;
    return success("Discovery", "AoD", [&](JsonWriter& w) {
        writeShows(w, catalog_, param(req, "genre"), param(req, "channelId"), base_ + kImagePath);
    });
}

Reply Service::geolocation(const httplib::Request& req)
{
    Reply r;
    if (sessionRejected(req, r))
        return r;
    return success("Discovery", "GeoLocation");
}

Reply Service::programData(const httplib::Request& req)
{
    Reply r;
    if (sessionRejected(req, r))
        return r;
    // Program data is the one reply whose good status is 100.
    return json(envelope(100, {100}, [&](JsonWriter& w) {
        writeProgramData(w, catalog_, playback_.audio(), param(req, "category"), param(req, "channelIds"),
                         nowMs(), wallClock());
    }));
}

Reply Service::episodes(const httplib::Request& req)
{
    // The show list comes bare, without the message frame.
    return json(showListDocument(catalog_, param(req, "only"), base_ + kImagePath));
}

// A live tune names the channel by its id. Start times ("timestamp") and
// output modes are not read: the timeline always spans the large index
// file, and the library finds a start time in the index itself.
Reply Service::tuneLive(const httplib::Request& req)
{
    Reply r;
    if (sessionRejected(req, r))
        return r;
    const Channel* channel = catalog_.findChannelById(param(req, "channelId"));
    if (!channel || !playback_.playable(*channel))
        return failure(309);
    int64_t now = nowMs();
    return json(envelope(1, {100}, [&](JsonWriter& w) { playback_.liveModule(w, *channel, now); }));
}

// An episode is found by its access control id alone; the channel the
// library sends with it is not checked.
Reply Service::tuneOnDemand(const httplib::Request& req)
{
    Reply r;
    if (sessionRejected(req, r))
        return r;
    const Episode* episode = catalog_.findEpisode(param(req, "caId"));
    if (!episode || !playback_.playable())
        return failure(309);
    int64_t now = nowMs();
    return json(envelope(1, {100}, [&](JsonWriter& w) { playback_.onDemandModule(w, *episode, now); }));
}

// Clip channels, tuned by "sequencer": see clips.h.
Reply Service::tuneClips(const httplib::Request& req)
{
    Reply r;
    return sessionRejected(req, r) ? r : clips_.tune(req);
}

Reply Service::refreshTracks(const httplib::Request& req)
{
    Reply r;
    return sessionRejected(req, r) ? r : clips_.refresh(req);
}

Reply Service::image(const httplib::Request&)
{
    Reply r;
    r.contentType = "image/png";
    r.body.assign(reinterpret_cast<const char*>(kPixel), sizeof kPixel);
    return r;
}

}  // namespace tqlsim
