// The profile endpoints: the collation read and the writes of presets,
// favorites, the recents list and the global settings, served from and
// applied to the account's profile.
#include "json_tree.h"
#include "json_writer.h"
#include "profile.h"
#include "service.h"

#include <yajl/yajl_tree.h>

#include <functional>
#include <initializer_list>
#include <memory>

namespace tqlsim {

namespace {

using Writer = std::function<void(JsonWriter&)>;

// The code of a refused profile call (the `refuse` fault); the library
// records it and treats it as a plain refusal.
const int kRefusedCode = 607;
const int kBadRequestCode = 600;

Reply reply(int status, int code, const char* text, const Writer& content = nullptr)
{
    JsonWriter w;
    w.beginObject().key("TamberQLMessage").beginObject().field("status", status);
    w.key("messages").beginArray().beginObject().field("code", code).field("message", text).endObject().endArray();
    w.key("moduleList").beginObject().key("modules").beginArray();
    if (content) {
        w.beginObject().field("moduleArea", "Profile").field("moduleType", "GUPCollation");
        w.key("moduleResponse").beginObject();
        content(w);
        w.endObject().endObject();
    }
    w.endArray().endObject().endObject().endObject();
    Reply r;
    r.body = w.str();
    return r;
}

Reply good(const Writer& content) { return reply(1, 100, "Successful request", content); }
Reply badRequest() { return reply(0, kBadRequestCode, "Bad request"); }
Reply refused() { return reply(0, kRefusedCode, "Profile update refused"); }

// A text of the document, cut to the profile's limit; empty when absent.
std::string text(yajl_val node, const char* key)
{
    yajl_val v = find(node, {key});
    std::string s = YAJL_IS_STRING(v) ? YAJL_GET_STRING(v) : "";
    return s.size() > kMaxProfileText ? s.substr(0, kMaxProfileText) : s;
}

int number(yajl_val node, const char* key)
{
    yajl_val v = find(node, {key});
    if (!YAJL_IS_INTEGER(v))
        return 0;
    long long n = YAJL_GET_INTEGER(v);
    return n > 1000000 ? 1000000 : n < -1000000 ? -1000000 : static_cast<int>(n);
}

// The maps of an array, or nothing when the node is no array.
std::vector<yajl_val> maps(yajl_val node)
{
    std::vector<yajl_val> out;
    if (YAJL_IS_ARRAY(node))
        for (size_t i = 0; i < node->u.array.len; ++i)
            if (YAJL_IS_OBJECT(node->u.array.values[i]))
                out.push_back(node->u.array.values[i]);
    return out;
}

// moduleList.modules[0] of a request document, or null.
yajl_val firstModule(yajl_val root)
{
    std::vector<yajl_val> modules = maps(find(root, {"moduleList", "modules"}));
    return modules.empty() ? nullptr : modules.front();
}

void writePresets(JsonWriter& w, const Profile& p)
{
    w.key("presetsList").beginObject().key("presets").beginArray();
    for (const Preset& x : p.presets) {
        w.beginObject().field("assetGUID", x.guid).field("assetType", x.contentType == "aod" ? "episode" : "channel");
        w.field("contentType", x.contentType).field("channelId", x.channelId).field("tabSortOrder", x.slot);
        w.endObject();
    }
    w.endArray().endObject();
}

void writeFavorites(JsonWriter& w, const Profile& p, const Catalog& catalog)
{
    w.key("favoritesList").beginObject().key("favorites").beginArray();
    for (const Favorite& x : p.favorites) {
        const Channel* ch = catalog.findChannel(x.guid);
        const Show* show = catalog.findShow(x.guid);
        w.beginObject().field("assetGUID", x.guid).field("assetType", x.type);
        w.field("assetName", ch ? ch->name : show ? show->title : "").field("channelId", x.channelId);
        w.field("contentType", x.contentType).field("episodeCount", show ? show->episodes : 0).endObject();
    }
    w.endArray().endObject();
}

void writeRecents(JsonWriter& w, const Profile& p)
{
    w.key("recentlyPlayedData").beginObject().key("recentlyPlayeds").beginArray();
    for (const std::string& guid : p.recents) {
        w.beginObject().field("assetType", "channel").field("recentlyPlayedGuid", "rp-" + guid);
        w.field("recentPlayType", "live").field("assetGUID", guid).field("channelGuid", guid);
        w.field("incognito", false).endObject();
    }
    w.endArray().endObject();
}

void writePausePoints(JsonWriter& w, const Profile& p)
{
    w.key("pausePointTypes").beginArray();
    for (const PausePoint& x : p.pausePoints) {
        w.beginObject().field("assetType", "aodEpisode").field("assetGUID", x.episodeGuid);
        w.field("showGUID", x.showGuid).field("aodPercentConsumed", x.percent).endObject();
    }
    w.endArray();
}

}  // namespace

std::vector<std::string> Service::favoriteGuids(const std::string& user)
{
    std::vector<std::string> guids;
    for (const Favorite& f : profiles_.get(user).favorites)
        guids.push_back(f.guid);
    return guids;
}

Reply Service::collation(const httplib::Request& req)
{
    Reply r;
    std::string user;
    if (sessionRejected(req, r, &user))
        return r;
    if (state_.takeRefusal("collation"))
        return refused();
    const Profile p = profiles_.get(user);
    std::string type = req.get_param_value("gup-type");
    return good([&](JsonWriter& w) {
        if (type.empty() || type == "favorites")
            writeFavorites(w, p, catalog_);
        if (type.empty() || type == "presets")
            writePresets(w, p);
        if (type.empty() || type == "recent-plays")
            writeRecents(w, p);
        if (type.empty() || type == "aod-pause-points")
            writePausePoints(w, p);
    });
}

// Presets, favorites and the clearing of recents share one path; the
// module's type says which. Each answers with the list as it now stands.
Reply Service::profileModify(const httplib::Request& req)
{
    Tree root = parseObject(req.body);
    yajl_val mod = firstModule(root.get());
    std::string area = text(mod, "moduleArea"), type = text(mod, "moduleType");
    yajl_val presets = find(mod, {"moduleDetails", "presetsList", "presets"});
    yajl_val favorites = find(mod, {"moduleDetails", "favoritesList", "favorites"});
    yajl_val recents = find(mod, {"moduleRequest", "profileUpdateRequest", "gupRecentPlaysUpdateRequests"});
    const char* call = type == "Presets" && YAJL_IS_ARRAY(presets)             ? "presets"
                       : type == "Favorites" && YAJL_IS_ARRAY(favorites)       ? "favorites"
                       : type == "GUPCollation" && YAJL_IS_ARRAY(recents)      ? "recents"
                                                                               : nullptr;
    if (area != "Profile" || !call)
        return badRequest();
    Reply r;
    std::string user;
    if (sessionRejected(req, r, &user))
        return r;
    if (state_.takeRefusal(call))
        return refused();
    const std::string which = call;
    profiles_.change(user, [&](Profile& p) {
        if (which == "presets") {
            for (yajl_val x : maps(presets))
                applyPreset(p, text(x, "changeType"),
                            {text(x, "assetGUID"), text(x, "channelId"), text(x, "contentType"), number(x, "tabSortOrder")});
        } else if (which == "favorites") {
            for (yajl_val x : maps(favorites))
                applyFavorite(p, text(x, "changeType"),
                              {text(x, "assetGUID"), text(x, "assetType"), text(x, "channelId"), text(x, "contentType")});
        } else {
            p.recents.clear();
        }
    });
    const Profile p = profiles_.get(user);
    return good([&](JsonWriter& w) {
        if (which == "presets")
            writePresets(w, p);
        else if (which == "favorites")
            writeFavorites(w, p, catalog_);
        else
            writeRecents(w, p);
    });
}

Reply Service::settingsModify(const httplib::Request& req)
{
    Tree root = parseObject(req.body);
    yajl_val mod = firstModule(root.get());
    std::vector<yajl_val> updates =
        maps(find(mod, {"moduleRequest", "profileUpdateRequest", "gupGlobalSettingsUpdateRequests"}));
    if (text(mod, "moduleArea") != "Profile" || text(mod, "moduleType") != "GUPCollation" || updates.empty())
        return badRequest();
    Reply r;
    std::string user;
    if (sessionRejected(req, r, &user))
        return r;
    if (state_.takeRefusal("settings"))
        return refused();
    profiles_.change(user, [&](Profile& p) {
        for (yajl_val update : updates)
            for (yajl_val s : maps(find(update, {"globalSettingList", "globalSettings"})))
                if (!text(s, "settingName").empty())
                    applySetting(p, text(s, "settingName"), text(s, "settingValue"));
    });
    const Profile p = profiles_.get(user);
    return good([&](JsonWriter& w) {
        w.key("globalSettingList").beginObject().key("globalSettings").beginArray();
        for (const auto& s : p.settings)
            w.beginObject().field("settingName", s.first).field("settingValue", s.second).endObject();
        w.endArray().endObject();
    });
}

}  // namespace tqlsim
