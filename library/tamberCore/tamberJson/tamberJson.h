#ifndef TAMBER_JSON_H
#define TAMBER_JSON_H

#include <yajl/yajl_gen.h>
#include <yajl/yajl_parse.h>

#include "tamberTypes/tamberString.h"

// Receiver of a stream of JSON events. Each returns non-zero to go on, zero
// to cancel the parse.
class tamberJsonHandlerIf {
public:
    virtual ~tamberJsonHandlerIf() {}
    virtual int handleNullIf() = 0;
    virtual int handleBooleanIf(int value) = 0;
    virtual int handleNumberIf(double value) = 0;
    virtual int handleStringIf(const tql_string& value) = 0;
    virtual int handleMapKeyIf(const unsigned char* key, unsigned int length) = 0;
    virtual int handleStartMapIf() = 0;
    virtual int handleEndMapIf() = 0;
    virtual int handleStartArrayIf() = 0;
    virtual int handleEndArrayIf() = 0;
};

// One parse failure.
class tql_Error {
public:
    tql_Error() : m_message(""), m_code(0) {}
    tql_Error(const tql_string& message, int code) : m_message(message), m_code(code) {}
    virtual ~tql_Error() {}

    tql_string m_message;
    int m_code;
};

// Turns a body into handler events while it arrives; pieces may split it
// anywhere, even inside a token. One object serves one body.
class tql_json {
public:
    explicit tql_json(tamberJsonHandlerIf* handler);
    virtual ~tql_json();
    tql_json(const tql_json&) = delete;
    tql_json& operator=(const tql_json&) = delete;

    int init();
    // length when the piece was taken; 1 on a parse error (error filled), so
    // that a transfer stops; 0xFFFFFFFF with no handler.
    unsigned int parseSax(const unsigned char* data, unsigned int length, tql_Error& error);
    int parseSaxDone();
    int status() const { return m_status; }

private:
    static int handle_null(void* ctx);
    static int handle_boolean(void* ctx, int value);
    static int handle_number(void* ctx, const char* text, size_t length);
    static int handle_string(void* ctx, const unsigned char* text, size_t length);
    static int handle_start_map(void* ctx);
    static int handle_map_key(void* ctx, const unsigned char* key, size_t length);
    static int handle_end_map(void* ctx);
    static int handle_start_array(void* ctx);
    static int handle_end_array(void* ctx);
    static tamberJsonHandlerIf* handlerOf(void* ctx);

    yajl_handle m_parser;
    int m_status;
    tamberJsonHandlerIf* m_handler;
    // The copy of each string value that the handler sees, made in one text
    // that keeps its room, so that a reply of many strings allocates for the
    // longest, not for each.
    tql_string m_text;
};

// Base of every request document. A document writes into the generator it
// is given; with none it is the root, makes its own, and only the root
// writes the outermost braces.
class tql_jsonGen {
public:
    tql_jsonGen() : m_gen(nullptr), m_json(nullptr) {}
    virtual ~tql_jsonGen();
    // A copy is a document without a generator: the generator stays with its owner.
    tql_jsonGen(const tql_jsonGen&) : m_gen(nullptr), m_json(nullptr) {}
    tql_jsonGen& operator=(const tql_jsonGen&) { return *this; }

    void* init();
    void openMap(void* gen);
    void closeMap(void* gen);
    void jsonStart(void* gen, const tql_string& key);
    void jsonFinish(void* gen);
    // count 0 writes nothing; the odd closeArray argument says what to close:
    // 0 nothing, 1 a map, anything else an array.
    void openArray(void* gen, const tql_string& key, int count);
    void closeArray(void* gen, int count);
    void addString(void* gen, const tql_string& key, const tql_string& value);
    void addBool(void* gen, const tql_string& key, int value);
    void addInteger(void* gen, const tql_string& key, long value);
    void addFloatNum(void* gen, const tql_string& key, const tql_string& value);
    const char* getJson(void* gen);

protected:
    void* m_gen;
    const char* m_json;
};

#endif
