#include "tamberJson.h"

#include <cstdlib>

#include "tamberTypes/tamberDebug.h"

tql_json::tql_json(tamberJsonHandlerIf* handler) : m_parser(nullptr), m_status(0), m_handler(handler)
{
    init();
}

tql_json::~tql_json()
{
    if (m_parser)
        yajl_free(m_parser);
}

int tql_json::init()
{
    // Integers and doubles are left unset, so that every number arrives as text.
    static const yajl_callbacks callbacks = {
        handle_null,      handle_boolean, nullptr,        nullptr,          handle_number,    handle_string,
        handle_start_map, handle_map_key, handle_end_map, handle_start_array, handle_end_array,
    };
    m_parser = yajl_alloc(&callbacks, nullptr, this);
    yajl_config(m_parser, yajl_allow_comments, 1);
    yajl_config(m_parser, yajl_dont_validate_strings, 1);
    return 0;
}

unsigned int tql_json::parseSax(const unsigned char* data, unsigned int length, tql_Error& error)
{
    if (!m_handler) {
        TQL_LOG(0, "No JSON Handler to be used");
        return 0xFFFFFFFF;
    }
    m_status = yajl_parse(m_parser, data, length);
    if (m_status == yajl_status_ok)
        return length;
    unsigned char* text = yajl_get_error(m_parser, 1, data, length);
    error.m_message = tql_string(reinterpret_cast<const char*>(text));
    error.m_code = -1;
    yajl_free_error(m_parser, text);
    return 1;
}

int tql_json::parseSaxDone()
{
    m_status = yajl_complete_parse(m_parser);
    if (m_status == yajl_status_ok)
        return 0;
    unsigned char* text = yajl_get_error(m_parser, 1, nullptr, 0);
    if (!text)
        return 1;
    TQL_LOG(1, "yajl_complete_parse ended with error: %s", text);
    yajl_free_error(m_parser, text);
    return 1;
}

tamberJsonHandlerIf* tql_json::handlerOf(void* ctx)
{
    tamberJsonHandlerIf* handler = static_cast<tql_json*>(ctx)->m_handler;
    if (!handler)
        TQL_LOG(0, "No JSON Handler to be used");
    return handler;
}

int tql_json::handle_null(void* ctx)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleNullIf() : 0;
}

int tql_json::handle_boolean(void* ctx, int value)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleBooleanIf(value) : 0;
}

int tql_json::handle_number(void* ctx, const char* text, size_t)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    if (!h)
        return 0;
    // yajl's text of a finished number is always followed by the character
    // that ended it (in the piece, or in yajl's own terminated buffer when
    // the number spanned pieces), so strtod stops inside it.
    return h->handleNumberIf(strtod(text, nullptr));
}

int tql_json::handle_string(void* ctx, const unsigned char* text, size_t length)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    if (!h)
        return 0;
    if (length == 0)
        return h->handleStringIf(tql_string(reinterpret_cast<const char*>(text), 0)); // null, as ever
    tql_string& copy = static_cast<tql_json*>(ctx)->m_text;
    copy.truncate(0);
    copy.append(reinterpret_cast<const char*>(text), static_cast<int>(length));
    return h->handleStringIf(copy);
}

int tql_json::handle_start_map(void* ctx)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleStartMapIf() : 0;
}

int tql_json::handle_map_key(void* ctx, const unsigned char* key, size_t length)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleMapKeyIf(key, static_cast<unsigned int>(length)) : 0;
}

int tql_json::handle_end_map(void* ctx)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleEndMapIf() : 0;
}

int tql_json::handle_start_array(void* ctx)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleStartArrayIf() : 0;
}

int tql_json::handle_end_array(void* ctx)
{
    tamberJsonHandlerIf* h = handlerOf(ctx);
    return h ? h->handleEndArrayIf() : 0;
}

tql_jsonGen::~tql_jsonGen()
{
    if (m_gen)
        yajl_gen_free(static_cast<yajl_gen>(m_gen));
}

void* tql_jsonGen::init()
{
    yajl_gen gen = yajl_gen_alloc(nullptr);
    yajl_gen_config(gen, yajl_gen_validate_utf8, 1);
    m_gen = gen;
    return gen;
}

static yajl_gen G(void* gen)
{
    return static_cast<yajl_gen>(gen);
}

static bool genString(void* gen, const tql_string& text)
{
    return yajl_gen_string(G(gen), reinterpret_cast<const unsigned char*>(text.data()),
                           static_cast<size_t>(text.length())) == yajl_gen_status_ok;
}

static void report(bool ok)
{
    if (!ok)
        tql_int_debug_print(1, "tql_jsonGen", __LINE__, "problem with json body generating");
}

void tql_jsonGen::openMap(void* gen)
{
    int status = yajl_gen_map_open(G(gen));
    if (status != yajl_gen_status_ok)
        TQL_LOG(1, "problem with json body generating. Yajl Code: %d", status);
}

void tql_jsonGen::closeMap(void* gen)
{
    report(yajl_gen_map_close(G(gen)) == yajl_gen_status_ok);
}

void tql_jsonGen::jsonStart(void* gen, const tql_string& key)
{
    if (gen == m_gen)
        report(yajl_gen_map_open(G(gen)) == yajl_gen_status_ok);
    report(genString(gen, key));
    report(yajl_gen_map_open(G(gen)) == yajl_gen_status_ok);
}

void tql_jsonGen::jsonFinish(void* gen)
{
    if (gen == m_gen) {
        int status = yajl_gen_map_close(G(gen));
        if (status != yajl_gen_status_ok)
            TQL_LOG(1, "problem with json body generating. Yajl code: %d", status);
    }
    // A balanced document is complete by now; that is no error here.
    int status = yajl_gen_map_close(G(gen));
    if (status != yajl_gen_status_ok && status != yajl_gen_generation_complete)
        TQL_LOG(1, "problem with json body generating. Yajl code: %d", status);
}

void tql_jsonGen::openArray(void* gen, const tql_string& key, int count)
{
    if (count == 0)
        return;
    report(genString(gen, key));
    report(yajl_gen_array_open(G(gen)) == yajl_gen_status_ok);
}

void tql_jsonGen::closeArray(void* gen, int count)
{
    if (count == 0)
        return;
    if (count == 1)
        report(yajl_gen_map_close(G(gen)) == yajl_gen_status_ok);
    else
        report(yajl_gen_array_close(G(gen)) == yajl_gen_status_ok);
}

void tql_jsonGen::addString(void* gen, const tql_string& key, const tql_string& value)
{
    report(genString(gen, key));
    report(genString(gen, value));
}

void tql_jsonGen::addBool(void* gen, const tql_string& key, int value)
{
    report(genString(gen, key));
    report(yajl_gen_bool(G(gen), value) == yajl_gen_status_ok);
}

void tql_jsonGen::addInteger(void* gen, const tql_string& key, long value)
{
    report(genString(gen, key));
    report(yajl_gen_integer(G(gen), value) == yajl_gen_status_ok);
}

void tql_jsonGen::addFloatNum(void* gen, const tql_string& key, const tql_string& value)
{
    report(genString(gen, key));
    report(yajl_gen_number(G(gen), value.data(), static_cast<size_t>(value.length())) == yajl_gen_status_ok);
}

const char* tql_jsonGen::getJson(void* gen)
{
    const unsigned char* buffer = nullptr;
    size_t length = 0;
    report(yajl_gen_get_buf(G(gen), &buffer, &length) == yajl_gen_status_ok);
    m_json = reinterpret_cast<const char*>(buffer);
    return m_json;
}
