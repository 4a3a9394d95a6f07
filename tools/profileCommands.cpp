#include "profileCommands.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tqllib.h"

namespace tqlplay {

namespace {

struct Channel {
    std::string guid, id;
    int type = 0; // 3 for an additional channel
};

// What the library hands over during one profile command.
struct Host {
    std::vector<Channel> channels;
    std::vector<std::pair<std::string, std::string>> settings;
};

std::string textOf(const char* text) { return text ? text : ""; }

int onError(void*, tql_errorNotification*) { return 1; }
void onMetadata(void*, tql_metadata*) {}
int onBitrate(void*, int) { return 1; }
int onBusy(void*, int) { return 1; }
void onPdt(void*, tql_pdtChannel*, int) {}
int onRefresh(void*, tql_moduleType) { return 1; }

int onChannel(void* context, tql_content* c)
{
    static_cast<Host*>(context)->channels.push_back({textOf(c->channelGuid), textOf(c->channelId), c->type});
    return 1;
}

// Settings arrive with every login; the last delivery is what the service holds.
void onGlobalSettings(void* context, tql_globalSetting* settings, int count)
{
    auto* host = static_cast<Host*>(context);
    host->settings.clear();
    for (int i = 0; i < count; ++i)
        host->settings.emplace_back(textOf(settings[i].key), textOf(settings[i].value));
}

int failed(const tql_errorNotification& error)
{
    fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(error.errorCode), error.errorCode);
    return 1;
}

// The library started, the host registered and logged in with the kept
// account; ends with the scope.
class Session {
public:
    explicit Session(Host& host)
    {
        memset(&m_error, 0, sizeof m_error);
        if (tql_init() != TQL_OK || tql_checkVersion(TQL_HEADER_VERSION) != TQL_OK) {
            fprintf(stderr, "tqlplay: the library would not start\n");
            return;
        }
        tql_CallbackStruct cb;
        memset(&cb, 0, sizeof cb);
        cb.hostContext = &host;
        cb.onError = onError;
        cb.onMetadata = onMetadata;
        cb.onBitrate = onBitrate;
        cb.onBusy = onBusy;
        cb.onChannel = onChannel;
        cb.onPdtUpdate = onPdt;
        cb.onRefresh = onRefresh;
        cb.onGlobalSettings = onGlobalSettings;
        if (tql_registerCallbacks(cb) != TQL_OK) {
            fprintf(stderr, "tqlplay: the library took no callbacks\n");
            return;
        }
        if (tql_configure_tamber(&m_error) != TQL_OK) {
            failed(m_error);
            return;
        }
        m_ready = true;
    }
    ~Session() { tql_deinit(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool ready() const { return m_ready; }
    // The line-up, for the channel a command names.
    const Channel* findChannel(Host& host, const std::string& name)
    {
        if (host.channels.empty() && tql_channel_list(&m_error) != TQL_OK) {
            failed(m_error);
            return nullptr;
        }
        for (const Channel& c : host.channels)
            if (c.id == name || c.guid == name)
                return &c;
        return nullptr;
    }

private:
    bool m_ready = false;
    tql_errorNotification m_error;
};

bool parseInt(const std::string& text, int& out)
{
    char* end = nullptr;
    long v = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || v < -1000000 || v > 1000000)
        return false;
    out = static_cast<int>(v);
    return true;
}

const char* presetKind(int contentType)
{
    switch (contentType) {
    case 0: return "live";
    case 2: return "ondemand";
    case 3: return "additional";
    default: return "?";
    }
}

// The list as the library gave it (last preset first), shown by slot.
void printPresets(const tql_chainedPresets* head)
{
    std::vector<const tql_chainedPresets*> rows;
    for (const tql_chainedPresets* p = head; p; p = p->next)
        rows.push_back(p);
    if (rows.empty()) {
        printf("(none)\n");
        return;
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const tql_chainedPresets* a, const tql_chainedPresets* b) { return a->sortOrder < b->sortOrder; });
    printf("%-5s  %-12s  %-10s  %s\n", "SLOT", "CHANNEL", "KIND", "GUID");
    for (const tql_chainedPresets* p : rows)
        printf("%-5d  %-12s  %-10s  %s\n", p->sortOrder, textOf(p->channelId).c_str(), presetKind(p->contentType),
               textOf(p->assetGuid).c_str());
    printf("%zu %s\n", rows.size(), rows.size() == 1 ? "preset" : "presets");
}

} // namespace

int presets()
{
    Host host;
    Session session(host);
    if (!session.ready())
        return 1;
    int count = 0;
    tql_chainedPresets* list = tql_get_preset_list(&count, TQL_PRESETS_FETCH);
    if (count < 0) {
        fprintf(stderr, "tqlplay: the service gave no presets\n");
        return 1;
    }
    printPresets(list);
    tql_freePresets(list);
    return 0;
}

int setPreset(const std::string& slotText, const std::string& name)
{
    int slot = 0;
    if (!parseInt(slotText, slot)) {
        fprintf(stderr, "tqlplay: a preset slot is a number, not \"%s\"\n", slotText.c_str());
        return 2;
    }
    Host host;
    Session session(host);
    if (!session.ready())
        return 1;
    const Channel* channel = session.findChannel(host, name);
    if (!channel) {
        fprintf(stderr, "tqlplay: no channel \"%s\" in the line-up\n", name.c_str());
        return 1;
    }
    tql_chainedPresets preset;
    memset(&preset, 0, sizeof preset);
    preset.assetGuid = channel->guid.c_str();
    preset.contentType = channel->type == 3 ? 3 : 0;
    preset.channelId = channel->id.c_str();
    preset.action = 0; // add: the slot takes this channel
    preset.sortOrder = slot;
    char buffer[1];
    unsigned int length = sizeof buffer; // asked for by the interface, never written
    int count = 0;
    tql_chainedPresets* list = tql_update_server_preset(&preset, buffer, &length, &count);
    if (count < 0) {
        fprintf(stderr, "tqlplay: the service did not take the preset\n");
        return 1;
    }
    printPresets(list);
    tql_freePresets(list);
    return 0;
}

int changeFavorite(const std::string& action, const std::string& id)
{
    if (action != "add" && action != "remove") {
        fprintf(stderr, "tqlplay: favorite takes add or remove, not \"%s\"\n", action.c_str());
        return 2;
    }
    Host host;
    Session session(host);
    if (!session.ready())
        return 1;
    // A channel by its id or guid; anything else is taken for a show's guid.
    const Channel* channel = session.findChannel(host, id);
    tql_chainedFavorites nodes[2];
    memset(nodes, 0, sizeof nodes);
    nodes[0].assetGuid = channel ? channel->guid.c_str() : id.c_str();
    nodes[0].assetType = channel ? (channel->type == 3 ? 3 : 0) : 1;
    nodes[0].channelId = channel ? channel->id.c_str() : "";
    nodes[0].assetTypeText = "";
    nodes[0].action = action == "add" ? 0 : 1;
    nodes[0].next = &nodes[1]; // the terminator, which the library does not send
    tql_errorNotification error;
    memset(&error, 0, sizeof error);
    if (tql_update_server_favorites(nodes, &error) != TQL_OK)
        return failed(error);
    return 0;
}

int clearRecents()
{
    Host host;
    Session session(host);
    if (!session.ready())
        return 1;
    if (tql_clearRecents() != TQL_OK) {
        fprintf(stderr, "tqlplay: the service did not clear the recents\n");
        return 1;
    }
    return 0;
}

int pausePoints()
{
    Host host;
    Session session(host);
    if (!session.ready())
        return 1;
    int status = 0;
    tql_chainedPausePoints* list = tql_getPausePoints(&status);
    if (status < 0) {
        fprintf(stderr, "tqlplay: the service gave no pause points\n");
        return 1;
    }
    if (!list)
        printf("(none)\n");
    else
        printf("%-40s  %-40s  %s\n", "EPISODE", "SHOW", "PLAYED");
    size_t n = 0;
    for (const tql_chainedPausePoints* p = list; p; p = p->next, ++n)
        printf("%-40s  %-40s  %d%%\n", textOf(p->assetGuid).c_str(), textOf(p->showGuid).c_str(), p->percentConsumed);
    if (n)
        printf("%zu %s\n", n, n == 1 ? "pause point" : "pause points");
    tql_freePausePointList(list);
    return 0;
}

int settings(const std::vector<std::string>& assignments)
{
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& a : assignments) {
        size_t eq = a.find('=');
        if (eq == std::string::npos || eq == 0) {
            fprintf(stderr, "tqlplay: a setting is NAME=VALUE, not \"%s\"\n", a.c_str());
            return 2;
        }
        pairs.emplace_back(a.substr(0, eq), a.substr(eq + 1));
    }
    if (!pairs.empty()) {
        Host host;
        Session session(host);
        if (!session.ready())
            return 1;
        std::vector<tql_globalSetting> list;
        for (const auto& p : pairs)
            list.push_back({p.first.c_str(), p.second.c_str()});
        tql_errorNotification error;
        memset(&error, 0, sizeof error);
        if (tql_update_global_settings(list.data(), static_cast<int>(list.size()), &error) != TQL_OK) {
            fprintf(stderr, "tqlplay: the service did not take the settings\n");
            return 1;
        }
    }
    // The service hands its settings out with a login: log in anew to show them.
    Host host;
    Session session(host);
    if (!session.ready())
        return 1;
    if (host.settings.empty())
        printf("(none)\n");
    for (const auto& s : host.settings)
        printf("%s=%s\n", s.first.c_str(), s.second.c_str());
    return 0;
}

} // namespace tqlplay
