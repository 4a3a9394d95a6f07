#include "tamberResponse/tamberLogos.h"

#include "tamberTypes/tamberUrl.h"

namespace {
bool accepted(const tql_string& name, const char* const* names, int nameCount)
{
    for (int i = 0; i < nameCount; ++i)
        if (name == names[i])
            return true;
    return false;
}
} // namespace

void tql_scaleBestLogo(tql_list<TQLImage>& images, const char* const* names, int nameCount)
{
    const TQLImage* pick = nullptr;
    for (const TQLImage& image : images)
        if (accepted(image.name, names, nameCount) && (!pick || image.width > pick->width))
            pick = &image;
    if (!pick || pick->url.isEmpty())
        return;
    const tql_url source(pick->url, true);
    const int width = pick->width;
    const int step = width / 4;
    images.clear(); // pick is gone from here on
    int size = width;
    for (int pass = 0; pass < 4; ++pass, size -= step) {
        tql_url url(source);
        if (pass > 0) {
            const tql_string side = tql_string::formatString("%d", size);
            url.addQueryItem("width", side);
            url.addQueryItem("height", side);
            url.addQueryItem("preserveAspect", "true");
        }
        TQLImage variant;
        variant.url = url.toString();
        variant.width = size;
        variant.height = size;
        images.push_back(variant);
    }
}
