#ifndef TAMBER_CAROUSEL_H
#define TAMBER_CAROUSEL_H

// The walk over carousel tiles that favorites, recents, for-you and search
// share. The four replies differ in small, deliberate ways; those live in one
// table per aspect (in tamberCarousel.cpp, a row per rule and a column mask
// of the handlers that know it) and in the few hooks below, so that each
// handler states only what sets it apart.

#include <string>

#include "tamberResponse/tamberContent.h"

// Which handlers a rule of the shared tables belongs to.
enum TQLCarouselKind : unsigned {
    kCarouselFavorites = 1u << 0,
    kCarouselRecents = 1u << 1,
    kCarouselForYou = 1u << 2,
    kCarouselSearch = 1u << 3
};

// What a handler fixes at construction; everything else is in the tables.
struct TQLCarouselRules {
    unsigned kind; // one TQLCarouselKind bit
    const char* tileRoot; // the path of the tile maps
    bool readsCarouselTitle; // keeps the title of the carousel in work
    bool lowerCaseLogoHost; // how the logo URL is parsed
    bool repairsSchemelessLogo; // drops a leading "://" from scaled logo URLs
};

class TQLModuleResponseCarouselHandlerBase : public TQLModuleHandlerBase {
public:
    static const char* const scPath_toggleSelectorTiles;
    static const char* const scPath_carouselTiles;

    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

    // The four sized variants of m_logoUrl; empty without a logo.
    tql_list<TQLImage> createScaledLogos() const;

protected:
    TQLModuleResponseCarouselHandlerBase(TQLResponse* response, const TQLCarouselRules& rules,
                                         TQLModuleResponseCarousel* record);
    TQLModuleResponseCarouselHandlerBase(TQLResponse* response, const TQLCarouselRules& rules,
                                         TQLModuleResponseSearch* record);

    // Runs first for every string, whatever its path.
    virtual void beforeString() { }
    // False while tile events and other strings are to be ignored.
    virtual bool tileEventsOpen() const { return true; }
    // Whether the finished tile goes to the record.
    virtual bool keepsTile() const { return !m_dropTile && !m_tile.id.isEmpty(); }
    // At the end of the module element.
    virtual void moduleEnded() { storeModule(); }

    TQLContent m_tile;
    tql_string m_logoUrl;
    tql_string m_assetInfoKey;
    tql_string m_imageClass;
    tql_string m_textClass;
    tql_string m_pendingText; // a textValue that came before its textClass
    int m_dropTile = 0;
    tql_string m_carouselTitle;

private:
    TQLModuleResponseCarouselHandlerBase(TQLResponse* response, const TQLCarouselRules& rules,
                                         TQLModuleResponseBase* record, tql_list<TQLContent>* contents,
                                         tql_string* expiry);

    const char* tileField(const char* path) const;
    void tileString(const char* field, const tql_string& value);
    void setTileType(const char* field, const tql_string& value);
    bool isLogoClass() const;
    void applyAssetInfo(const tql_string& value);
    void applyText(const tql_string& value);
    void applyEpisodeLine1(const tql_string& value);
    void endTile();
    void endText();
    void endImage();

    const TQLCarouselRules& m_rules;
    tql_list<TQLContent>* m_contents;
    tql_string* m_expiry; // null where the reply has none
    std::string m_textValuePath;
};

#endif
