#ifndef TAMBER_RECORDS_H
#define TAMBER_RECORDS_H

#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"

// The image record of every handler.
class TQLImage {
public:
    virtual ~TQLImage() {}
    TQLImage() = default;
    TQLImage(const TQLImage&) = default;
    TQLImage(TQLImage&&) = default; // lists of images grow by moving their texts
    TQLImage& operator=(const TQLImage&) = default;
    TQLImage& operator=(TQLImage&&) = default;

    tql_string name;
    tql_string url;
    tql_string platform;
    int height = 0;
    int width = 0;
    int encrypted = 0;
};

// One clip of a clip-sequenced channel.
class TQLClip {
public:
    virtual ~TQLClip() {}

    tql_string assetGuid;
    tql_string assetType;
    tql_string consumptionInfo;
    tql_list<tql_string> contentUrls;
    tql_string title;
    tql_list<TQLImage> images;
    tql_string artistName;
    double duration = 0;
    tql_string category;
    tql_string albumName;
    tql_string clipImageUrl;
};

#endif
