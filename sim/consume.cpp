#include "consume.h"
#include "json_tree.h"

#include <yajl/yajl_tree.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <set>

namespace tqlsim {

namespace {

const size_t kMaxBody = 64 * 1024;

yajl_val member(yajl_val node, const char* key)
{
    const char* path[] = {key, nullptr};
    return node ? yajl_tree_get(node, path, yajl_t_any) : nullptr;
}

// The times of a report: "YYYY-MM-DDTHH:MM:SS.dddddddZ".
bool consumeTime(const std::string& t)
{
    static const char pattern[] = "dddd-dd-ddTdd:dd:dd.dddddddZ";
    if (t.size() != sizeof pattern - 1)
        return false;
    for (size_t i = 0; i < t.size(); ++i)
        if (pattern[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(t[i])) : t[i] != pattern[i])
            return false;
    return true;
}

bool text(yajl_val record, const char* key, std::string& out)
{
    yajl_val v = member(record, key);
    if (!YAJL_IS_STRING(v))
        return false;
    out = YAJL_GET_STRING(v);
    return out.size() <= ConsumeLog::kMaxText;
}

// The words each generation uses; anything else is not a report of ours.
bool knownEvent(int generation, const std::string& e)
{
    static const std::set<std::string> v2 = {"markerStart", "markerEnd", "end", "pause", "start", "update"};
    static const std::set<std::string> v4 = {"start", "stop", "update"};
    return (generation == 2 ? v2 : v4).count(e) > 0;
}

bool knownAction(const std::string& a)
{
    static const std::set<std::string> actions = {"passive", "tuneIn",   "tuneOut", "active", "resume", "error",
                                                  "tuneStart", "startNow", "fwd",     "back",   "live"};
    return actions.count(a) > 0;
}

std::string parseRecord(yajl_val node, int generation, ConsumeRecord& r)
{
    if (!YAJL_IS_OBJECT(node))
        return "a consume request is not an object";
    if (!text(node, "consumeEvent", r.event) || !text(node, "consumeEventAction", r.action) ||
        !text(node, "consumptionInfo", r.info) || !text(node, "consumeDateTime", r.dateTime) ||
        !text(node, "consumeStreamDateTime", r.streamDateTime))
        return "a consume request lacks a text";
    for (const char* flag : {"incognito", "aodDownload", "offline"}) {
        yajl_val v = member(node, flag);
        if (!YAJL_IS_TRUE(v) && !YAJL_IS_FALSE(v))
            return std::string(flag) + " is not a boolean";
    }
    if (!knownEvent(generation, r.event))
        return "unknown consumeEvent " + r.event;
    if (!knownAction(r.action))
        return "unknown consumeEventAction " + r.action;
    if (r.info.empty())
        return "empty consumptionInfo";
    if (!consumeTime(r.dateTime) || !consumeTime(r.streamDateTime))
        return "a time is not in the consume form";
    return "";
}

std::string parseModule(yajl_val module, int group, int generation, ConsumeReport& out)
{
    std::string area, type;
    if (!YAJL_IS_OBJECT(module) || !text(module, "moduleArea", area) || !text(module, "moduleType", type))
        return "a module lacks its area or type";
    if (area != "NowPlayingTimelineFeed")
        return "module area " + area;
    if (type != "Live" && type != "AOD" && type != "aic")
        return "module type " + type;
    yajl_val list = member(member(module, "moduleRequest"), "consumeRequests");
    if (!YAJL_IS_ARRAY(list) || list->u.array.len == 0)
        return "a module without consume requests";
    for (size_t i = 0; i < list->u.array.len; ++i) {
        if (out.records.size() >= ConsumeLog::kMaxRecordsPerReport)
            return "too many consume requests";
        ConsumeRecord r;
        r.channel = type;
        r.group = group;
        std::string why = parseRecord(list->u.array.values[i], generation, r);
        if (!why.empty())
            return why;
        out.records.push_back(r);
    }
    return "";
}

}  // namespace

std::string ConsumeLog::parse(const std::string& body, int generation, ConsumeReport& out)
{
    out = ConsumeReport();
    out.generation = generation;
    // Two modules of a few records nest four deep; anything much larger
    // or deeper is no report, and the tree parser is never asked.
    if (body.empty() || body.size() > kMaxBody || body.find('\0') != std::string::npos)
        return "no document";
    if (nestingDepth(body) > 8)
        return "too deep";
    Tree root(yajl_tree_parse(body.c_str(), nullptr, 0), yajl_tree_free);
    yajl_val modules = member(member(root.get(), "moduleList"), "modules");
    if (!YAJL_IS_ARRAY(modules) || modules->u.array.len == 0 || modules->u.array.len > 2)
        return "moduleList.modules must hold one or two modules";
    for (size_t i = 0; i < modules->u.array.len; ++i) {
        std::string why = parseModule(modules->u.array.values[i], static_cast<int>(i), generation, out);
        if (!why.empty())
            return why;
    }
    // Two modules are two kinds of channel.
    if (modules->u.array.len == 2 && out.records.front().channel == out.records.back().channel)
        return "two modules of one channel kind";
    return "";
}

void ConsumeLog::add(const std::string& session, const ConsumeReport& report)
{
    std::lock_guard<std::mutex> lock(mu_);
    auto it = sessions_.find(session);
    if (it == sessions_.end()) {
        if (order_.size() >= kMaxSessions) {
            sessions_.erase(order_.front());
            order_.pop_front();
        }
        order_.push_back(session);
        it = sessions_.emplace(session, std::deque<ConsumeReport>()).first;
    }
    if (it->second.size() >= kMaxReportsPerSession)
        it->second.pop_front();
    it->second.push_back(report);
}

void ConsumeLog::refused()
{
    std::lock_guard<std::mutex> lock(mu_);
    ++refused_;
}

void ConsumeLog::reset()
{
    std::lock_guard<std::mutex> lock(mu_);
    sessions_.clear();
    order_.clear();
    refused_ = 0;
}

void ConsumeLog::writeJson(JsonWriter& w)
{
    std::lock_guard<std::mutex> lock(mu_);
    w.beginObject().field("refused", static_cast<long long>(refused_));
    w.key("sessions").beginObject();
    for (const std::string& session : order_) {
        w.key(session).beginArray();
        for (const ConsumeReport& report : sessions_[session]) {
            w.beginObject().field("v", report.generation).key("records").beginArray();
            for (const ConsumeRecord& r : report.records)
                w.beginObject()
                    .field("channel", r.channel)
                    .field("group", r.group)
                    .field("event", r.event)
                    .field("action", r.action)
                    .field("info", r.info)
                    .field("at", r.dateTime)
                    .field("streamAt", r.streamDateTime)
                    .endObject();
            w.endArray().endObject();
        }
        w.endArray();
    }
    w.endObject().endObject();
}

}  // namespace tqlsim
