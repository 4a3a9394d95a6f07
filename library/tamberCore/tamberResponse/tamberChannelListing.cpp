#include "tamberResponse/tamberChannelListing.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "tamberTypes/tamberDebug.h"
#include "tamberTypes/tamberUrl.h"

namespace {
// Every path of the listing starts with the same 62 characters. They are
// tested once per event, and the constants below hold what follows them, so
// that the chain of compares never reads that head again.
#define LISTING "/moduleList/modules/moduleResponse/contentData/channelListing"
const size_t kListingLength = sizeof(LISTING) - 1;
#define CL ""
#define SC CL "/superCategories"
#define CAT SC "/categories/categories"
#define CH CL "/channels"
const char* const scPath_channelChangeId = CL "/channelChangeId";
const char* const scPath_superCategories = SC;
const char* const scPath_scGuid = SC "/categoryGuid";
const char* const scPath_scName = SC "/name";
const char* const scPath_scDescription = SC "/description";
const char* const scPath_scUrl = SC "/url";
const char* const scPath_scKey = SC "/key";
const char* const scPath_scSortOrder = SC "/sortOrder";
const char* const scPath_categories = CAT;
const char* const scPath_catGuid = CAT "/categoryGuid";
const char* const scPath_catName = CAT "/name";
const char* const scPath_catDescription = CAT "/description";
const char* const scPath_catKey = CAT "/key";
const char* const scPath_catSortOrder = CAT "/sortOrder";
const char* const scPath_catImages = CAT "/images/images";
const char* const scPath_catImageName = CAT "/images/images/name";
const char* const scPath_catImageUrl = CAT "/images/images/url";
const char* const scPath_catImageHeight = CAT "/images/images/height";
const char* const scPath_catImageWidth = CAT "/images/images/width";
const char* const scPath_catChannels = CAT "/channels/channels";
const char* const scPath_catChannelGuid = CAT "/channels/channels/channelGuid";
const char* const scPath_catChannelName = CAT "/channels/channels/name";
const char* const scPath_channels = CH;
const char* const scPath_channelGuid = CH "/channelGuid";
const char* const scPath_channelId = CH "/channelId";
const char* const scPath_name = CH "/name";
const char* const scPath_streamingName = CH "/streamingName";
const char* const scPath_shortDescription = CH "/shortDescription";
const char* const scPath_tuneMethod = CH "/tuneMethod";
const char* const scPath_channelNumber = CH "/channelNumber";
const char* const scPath_tamberChannelNumber = CH "/tamberChannelNumber";
const char* const scPath_qlChannelNumber = CH "/qlChannelNumber";
const char* const scPath_geoRestrictions = CH "/geoRestrictions";
const char* const scPath_sortOrder = CH "/sortOrder";
const char* const scPath_inactivityTimeout = CH "/inactivityTimeout";
const char* const scPath_isAvailable = CH "/isAvailable";
const char* const scPath_isMature = CH "/isMature";
const char* const scPath_isFavorite = CH "/isFavorite";
const char* const scPath_isBizMature = CH "/isBizMature";
const char* const scPath_timeoutPlatform = CH "/inactivityTimeouts/platform";
const char* const scPath_timeoutValue = CH "/inactivityTimeouts/value";
const char* const scPath_chImages = CH "/images/images";
const char* const scPath_chImageName = CH "/images/images/name";
const char* const scPath_chImageUrl = CH "/images/images/url";
const char* const scPath_chImagePlatform = CH "/images/images/platform";
const char* const scPath_chImageHeight = CH "/images/images/height";
const char* const scPath_chImageWidth = CH "/images/images/width";
const char* const scPath_chCategories = CH "/categories/categories";
const char* const scPath_chCategoryGuid = CH "/categories/categories/categoryGuid";
const char* const scPath_chCategoryName = CH "/categories/categories/name";
const char* const scPath_chCategoryKey = CH "/categories/categories/key";
const char* const scPath_chCategoryOrder = CH "/categories/categories/order";
const char* const scPath_modules = "/moduleList/modules";
const char* const scLogoName = "color channel logo (on dark)";
const char* const scCategoryIconName = "category icon web";

// Each path of the listing as one value: one lookup per event instead of a
// chain of compares against every constant.
enum class Field {
    none,
    channelChangeId,
    superCategories,
    scGuid,
    scName,
    scDescription,
    scUrl,
    scKey,
    scSortOrder,
    categories,
    catGuid,
    catName,
    catDescription,
    catKey,
    catSortOrder,
    catImages,
    catImageName,
    catImageUrl,
    catImageHeight,
    catImageWidth,
    catChannels,
    catChannelGuid,
    catChannelName,
    channels,
    channelGuid,
    channelId,
    name,
    streamingName,
    shortDescription,
    tuneMethod,
    channelNumber,
    tamberChannelNumber,
    qlChannelNumber,
    geoRestrictions,
    sortOrder,
    inactivityTimeout,
    isAvailable,
    isMature,
    isFavorite,
    isBizMature,
    timeoutPlatform,
    timeoutValue,
    chImages,
    chImageName,
    chImageUrl,
    chImagePlatform,
    chImageHeight,
    chImageWidth,
    chCategories,
    chCategoryGuid,
    chCategoryName,
    chCategoryKey,
    chCategoryOrder
};

// Made at load time, as the other constants, so that the first line-up
// does not leave it behind as memory of its own.
const std::unordered_map<std::string_view, Field> g_fields = {
    {scPath_channelChangeId, Field::channelChangeId},
    {scPath_superCategories, Field::superCategories},
    {scPath_scGuid, Field::scGuid},
    {scPath_scName, Field::scName},
    {scPath_scDescription, Field::scDescription},
    {scPath_scUrl, Field::scUrl},
    {scPath_scKey, Field::scKey},
    {scPath_scSortOrder, Field::scSortOrder},
    {scPath_categories, Field::categories},
    {scPath_catGuid, Field::catGuid},
    {scPath_catName, Field::catName},
    {scPath_catDescription, Field::catDescription},
    {scPath_catKey, Field::catKey},
    {scPath_catSortOrder, Field::catSortOrder},
    {scPath_catImages, Field::catImages},
    {scPath_catImageName, Field::catImageName},
    {scPath_catImageUrl, Field::catImageUrl},
    {scPath_catImageHeight, Field::catImageHeight},
    {scPath_catImageWidth, Field::catImageWidth},
    {scPath_catChannels, Field::catChannels},
    {scPath_catChannelGuid, Field::catChannelGuid},
    {scPath_catChannelName, Field::catChannelName},
    {scPath_channels, Field::channels},
    {scPath_channelGuid, Field::channelGuid},
    {scPath_channelId, Field::channelId},
    {scPath_name, Field::name},
    {scPath_streamingName, Field::streamingName},
    {scPath_shortDescription, Field::shortDescription},
    {scPath_tuneMethod, Field::tuneMethod},
    {scPath_channelNumber, Field::channelNumber},
    {scPath_tamberChannelNumber, Field::tamberChannelNumber},
    {scPath_qlChannelNumber, Field::qlChannelNumber},
    {scPath_geoRestrictions, Field::geoRestrictions},
    {scPath_sortOrder, Field::sortOrder},
    {scPath_inactivityTimeout, Field::inactivityTimeout},
    {scPath_isAvailable, Field::isAvailable},
    {scPath_isMature, Field::isMature},
    {scPath_isFavorite, Field::isFavorite},
    {scPath_isBizMature, Field::isBizMature},
    {scPath_timeoutPlatform, Field::timeoutPlatform},
    {scPath_timeoutValue, Field::timeoutValue},
    {scPath_chImages, Field::chImages},
    {scPath_chImageName, Field::chImageName},
    {scPath_chImageUrl, Field::chImageUrl},
    {scPath_chImagePlatform, Field::chImagePlatform},
    {scPath_chImageHeight, Field::chImageHeight},
    {scPath_chImageWidth, Field::chImageWidth},
    {scPath_chCategories, Field::chCategories},
    {scPath_chCategoryGuid, Field::chCategoryGuid},
    {scPath_chCategoryName, Field::chCategoryName},
    {scPath_chCategoryKey, Field::chCategoryKey},
    {scPath_chCategoryOrder, Field::chCategoryOrder}};

Field fieldOf(const char* rest)
{
    auto it = g_fields.find(std::string_view(rest));
    return it == g_fields.end() ? Field::none : it->second;
}

bool is(const char* rest, const char* constant)
{
    return strcmp(rest, constant) == 0;
}

// The path below the listing, or an empty text for a path outside it, which
// no constant of the listing matches.
const char* below(const char* path)
{
    return strncmp(path, LISTING, kListingLength) == 0 ? path + kListingLength : "";
}

// Assigned to blank a work image: a copy keeps the room of the texts it blanks.
const TQLImage kBlankImage;
const size_t kMostSpareImages = 8;

size_t hashOf(const tql_string& text)
{
    return std::hash<std::string_view>()(std::string_view(text.c_str(), static_cast<size_t>(text.length())));
}
} // namespace

TQLModuleResponseChannelListingHandler::TQLModuleResponseChannelListingHandler(TQLResponse* response,
                                                                               tql_channelCallBackIf* callback)
    : TQLModuleHandlerBase(response), m_callback(callback)
{
    m_moduleResponse = new TQLModuleResponseChannelListing();
}

int TQLModuleResponseChannelListingHandler::handleBoolean(const char* fullPath, int value)
{
    const Field field = fieldOf(below(fullPath));
    if (field == Field::isAvailable)
        m_channel.isAvailable = value;
    else if (field == Field::isMature)
        m_channel.isMature = value;
    else if (field == Field::isFavorite)
        m_channel.isFavorite = value;
    else if (field == Field::isBizMature)
        m_channel.isBizMature = value;
    return 1;
}

int TQLModuleResponseChannelListingHandler::handleNumber(const char* fullPath, double value)
{
    const Field field = fieldOf(below(fullPath));
    int n = truncToInt(value);
    if (field == Field::scSortOrder) {
        m_superCategory.sortOrder = n;
    } else if (field == Field::catSortOrder) {
        m_category.sortOrder = n;
    } else if (field == Field::catImageHeight) {
        m_categoryImage.height = n;
    } else if (field == Field::catImageWidth) {
        m_categoryImage.width = n;
    } else if (field == Field::sortOrder) {
        m_channel.sortOrder = n;
    } else if (field == Field::inactivityTimeout) {
        m_channel.inactivityTimeout = n;
    } else if (field == Field::timeoutValue) {
        // A value belongs to the entry its platform opened; without one it is dropped.
        if (!m_channel.inactivityTimeouts.empty())
            m_channel.inactivityTimeouts.back().value = n;
    } else if (field == Field::chImageHeight) {
        m_channelImage.height = n;
    } else if (field == Field::chImageWidth) {
        m_channelImage.width = n;
    } else if (field == Field::chCategoryOrder) {
        m_channelCategory.order = n;
    }
    return 1;
}

int TQLModuleResponseChannelListingHandler::handleString(const char* fullPath, const tql_string& value)
{
    if (takeEnvelopeString(fullPath, value))
        return 1;
    const Field field = fieldOf(below(fullPath));
    if (field == Field::channelChangeId)
        record()->channelChangeId = value;
    else if (field == Field::scGuid)
        m_superCategory.categoryGuid = value;
    else if (field == Field::scName)
        m_superCategory.name = value;
    else if (field == Field::scDescription)
        m_superCategory.description = value;
    else if (field == Field::scUrl)
        m_superCategory.url = value;
    else if (field == Field::scKey)
        m_superCategory.key = value;
    else if (field == Field::catGuid)
        m_category.categoryGuid = value;
    else if (field == Field::catName)
        m_category.name = value;
    else if (field == Field::catDescription)
        m_category.description = value;
    else if (field == Field::catKey)
        m_category.key = value;
    else if (field == Field::catImageName)
        m_categoryImage.name = value;
    else if (field == Field::catImageUrl)
        m_categoryImage.url = value;
    else if (field == Field::catChannelGuid)
        m_categoryChannel.channelGuid = value;
    else if (field == Field::catChannelName)
        m_categoryChannel.name = value;
    else if (field == Field::channelGuid)
        m_channel.channelGuid = value;
    else if (field == Field::channelId)
        m_channel.channelId = value;
    else if (field == Field::name)
        m_channel.name = value;
    else if (field == Field::streamingName)
        m_channel.streamingName = value;
    else if (field == Field::shortDescription)
        m_channel.shortDescription = value;
    else if (field == Field::tuneMethod)
        m_channel.tuneMethod = value;
    else if (field == Field::channelNumber)
        m_channel.channelNumber = value.toInt(nullptr, 10);
    else if (field == Field::tamberChannelNumber)
        m_channel.tamberChannelNumber = value.toInt(nullptr, 10);
    else if (field == Field::qlChannelNumber)
        m_channel.qlChannelNumber = value.toInt(nullptr, 10);
    else if (field == Field::geoRestrictions)
        m_channel.geoRestrictions = value.toInt(nullptr, 10);
    else if (field == Field::timeoutPlatform) {
        TQLInactivityTimeouts timeout;
        timeout.platform = value;
        m_channel.inactivityTimeouts.push_back(std::move(timeout));
    } else if (field == Field::chImageName)
        m_channelImage.name = value;
    else if (field == Field::chImageUrl)
        m_channelImage.url = value;
    else if (field == Field::chImagePlatform)
        m_channelImage.platform = value;
    else if (field == Field::chCategoryGuid)
        m_channelCategory.categoryGuid = value;
    else if (field == Field::chCategoryName)
        m_channelCategory.name = value;
    else if (field == Field::chCategoryKey)
        m_channelCategory.key = value;
    return 1;
}

int TQLModuleResponseChannelListingHandler::handleEndMap(const char* fullPath)
{
    const Field field = fieldOf(below(fullPath));
    if (field == Field::channels) {
        scaleChannelLogo();
        sendChannelCallback();
    } else if (field == Field::superCategories) {
        record()->superCategories.push_back(std::move(m_superCategory));
        m_superCategory = TQLSuperCategories();
    } else if (field == Field::catChannels) {
        m_category.channels.push_back(std::move(m_categoryChannel));
        m_categoryChannel = TQLChannelBase();
    } else if (field == Field::categories) {
        m_superCategory.categories.push_back(std::move(m_category));
        m_category = TQLCategories();
    } else if (field == Field::chImages) {
        // Every other image of the reply is dropped as it arrives.
        if (m_channelImage.name == scLogoName) {
            m_channel.images.push_back(std::move(m_channelImage));
            m_channelImage = takeSpareImage();
        }
        m_channelImage = kBlankImage;
    } else if (field == Field::chCategories) {
        m_channel.categories.push_back(m_channelCategory);
        m_channelCategory = TQLCategoriesBase();
    } else if (field == Field::catImages) {
        if (m_categoryImage.name == scCategoryIconName)
            m_category.images.push_back(m_categoryImage);
        m_categoryImage = TQLImage();
    } else if (is(fullPath, scPath_modules)) {
        storeModule();
    }
    return 1;
}

// One source logo, the last of 701 or more pixels or else the widest, turned
// into four sized variants.
void TQLModuleResponseChannelListingHandler::scaleChannelLogo()
{
    const TQLImage* source = nullptr;
    for (const TQLImage& image : m_channel.images) {
        if (image.width >= 701 || image.width > (source ? source->width : 0))
            source = &image;
    }
    if (!source || source->url.isEmpty())
        return;
    // The text of the source with the three query items added, as tql_url
    // writes it: all before the query, the query with the new items behind
    // the old ones, the fragment. Parsed once; the four variants differ only
    // in the number, so they are written as text, not built as URL objects.
    const tql_url base(source->url);
    const char pair = base.queryPairDelimiter();
    const char value = base.queryValueDelimiter();
    const tql_string head = base.toString(tql_url::RemoveQuery | tql_url::RemoveFragment);
    m_urlHead.assign(head.c_str(), static_cast<size_t>(head.length()));
    m_urlHead += '?';
    if (!base.queryItems().empty()) {
        const tql_string query = base.queryString();
        m_urlHead.append(query.c_str(), static_cast<size_t>(query.length()));
        m_urlHead += pair;
    }
    m_urlTail.clear();
    if (!base.fragment().isEmpty()) {
        m_urlTail += '#';
        m_urlTail.append(base.fragment().c_str(), static_cast<size_t>(base.fragment().length()));
    }
    keepSpareImages(m_channel.images);
    m_channel.images.reserve(4);
    for (int size = 700; size >= 100; size -= 200) {
        char number[12];
        const int digits = snprintf(number, sizeof number, "%d", size);
        TQLImage variant = takeSpareImage();
        tql_string& url = variant.url; // written in place, into the room a former variant left
        url.append(m_urlHead.data(), static_cast<int>(m_urlHead.size()));
        url.append("width", 5).append(&value, 1).append(number, digits).append(&pair, 1);
        url.append("height", 6).append(&value, 1).append(number, digits).append(&pair, 1);
        url.append("preserveAspect", 14).append(&value, 1).append("true", 4);
        url.append(m_urlTail.data(), static_cast<int>(m_urlTail.size()));
        variant.width = size;
        variant.height = size;
        m_channel.images.push_back(std::move(variant));
    }
}

TQLImage TQLModuleResponseChannelListingHandler::takeSpareImage()
{
    TQLImage image;
    if (!m_spareImages.empty()) {
        image = std::move(m_spareImages.back());
        m_spareImages.pop_back();
        image = kBlankImage;
    }
    return image;
}

void TQLModuleResponseChannelListingHandler::keepSpareImages(tql_list<TQLImage>& images)
{
    for (TQLImage& image : images) {
        if (m_spareImages.size() >= kMostSpareImages)
            break;
        m_spareImages.push_back(std::move(image));
    }
    images.clear();
}

void TQLModuleResponseChannelListingHandler::findBestGenreIcon(int superCategory, int category)
{
    TQLModuleResponseChannelListing* listing = record();
    if (!listing) {
        TQL_LOG(2, "No module response available");
        return;
    }
    if (superCategory < 0 || superCategory >= static_cast<int>(listing->superCategories.size())) {
        TQL_LOG(2, "Requested supercategorie out of list range");
        return;
    }
    TQLSuperCategories& super = listing->superCategories[static_cast<size_t>(superCategory)];
    if (category < 0 || category >= static_cast<int>(super.categories.size())) {
        TQL_LOG(2, "Requested categorie out of list range");
        return;
    }
    TQLCategories& cat = super.categories[static_cast<size_t>(category)];
    int best = -1;
    int minWidth = 99999;
    for (size_t i = 0; i < cat.images.size(); ++i) {
        const TQLImage& icon = cat.images[i];
        if (icon.width > 60) {
            best = static_cast<int>(i);
        } else if (best == 0 && icon.height == icon.width && icon.width < minWidth) {
            // The square rule can act only while the pick happens to be the first icon.
            minWidth = icon.width;
            best = static_cast<int>(i);
        }
    }
    if (best < 0)
        return;
    TQLImage chosen = cat.images[static_cast<size_t>(best)];
    cat.images.clear();
    cat.images.push_back(chosen); // the search runs once per category
}

void TQLModuleResponseChannelListingHandler::sendChannelCallback()
{
    tql_content content;
    memset(&content, 0, sizeof content);
    bool sequencer = m_channel.tuneMethod == "sequencer";
    content.type = sequencer ? 3 : 0;
    content.isAdditional = sequencer ? 1 : 0;
    content.id = m_channel.channelGuid.c_str();
    content.channelGuid = m_channel.channelGuid.c_str();
    content.channelId = m_channel.channelId.c_str();
    content.name = m_channel.name.c_str();
    content.description = m_channel.shortDescription.c_str();
    content.channelExtra = m_channel.streamingName.c_str();
    content.tamberChannelNumber = m_channel.tamberChannelNumber;
    content.qlChannelNumber = m_channel.qlChannelNumber;
    content.genreId = m_channel.geoRestrictions;
    content.sortOrder = m_channel.sortOrder;
    content.isAvailable = m_channel.isAvailable;
    content.isBizMature = m_channel.isBizMature;
    content.isFavorite = m_channel.isFavorite;
    content.inactivityTimeout = m_channel.inactivityTimeout;
    if (content.inactivityTimeout <= 0) {
        content.inactivityTimeout = 0;
        for (const TQLInactivityTimeouts& timeout : m_channel.inactivityTimeouts) {
            if (timeout.platform == "tenfoot") {
                content.inactivityTimeout = timeout.value;
                break;
            }
        }
    }
    for (size_t i = 0; i < m_channel.images.size() && i < TQL_CONTENT_IMAGES; ++i) {
        content.images[i].url = m_channel.images[i].url.c_str();
        content.images[i].width = m_channel.images[i].width;
        content.images[i].height = m_channel.images[i].height;
    }

    // One report per category that lists the channel; none when no category does.
    tql_list<TQLSuperCategories>& tree = record()->superCategories;
    for (const std::pair<size_t, size_t>& at : listingsOf(m_channel.channelGuid)) {
        size_t s = at.first;
        size_t c = at.second;
        TQLSuperCategories& super = tree[s];
        TQLCategories& category = super.categories[c];
        content.secondaryId = super.name.c_str();
        content.tertiaryId = super.key.c_str();
        content.superCategoryOrder = super.sortOrder;
        content.categoryName = category.name.c_str();
        content.categoryKey = category.key.c_str();
        content.extraValue = category.sortOrder;
        if (category.images.size() > 1)
            findBestGenreIcon(static_cast<int>(s), static_cast<int>(c));
        if (!category.images.empty()) {
            m_genreIconUrl = category.images.front().url;
            content.extraText = m_genreIconUrl.c_str();
        }
        for (const TQLCategoriesBase& own : m_channel.categories)
            if (own.key == category.key)
                content.sortOrder = own.order;
        if (m_callback && m_callback->function && m_callback->context &&
            m_callback->function(m_callback->context, &content) == -4)
            TQL_LOG(4, "Channel %s not available", m_channel.name.c_str());
    }
    keepSpareImages(m_channel.images);
    m_channel = TQLChannel();
}

void TQLModuleResponseChannelListingHandler::indexListings()
{
    const tql_list<TQLSuperCategories>& tree = record()->superCategories;
    size_t count = 0;
    for (const TQLSuperCategories& super : tree)
        for (const TQLCategories& category : super.categories)
            count += category.channels.size();
    m_listings.clear();
    m_listings.reserve(count); // at its size at once: no doubling on top of the tree's peak
    for (size_t s = 0; s < tree.size(); ++s)
        for (size_t c = 0; c < tree[s].categories.size(); ++c) {
            const tql_list<TQLChannelBase>& listed = tree[s].categories[c].channels;
            for (size_t i = 0; i < listed.size(); ++i)
                m_listings.push_back({hashOf(listed[i].channelGuid), static_cast<uint32_t>(s),
                                      static_cast<uint32_t>(c), static_cast<uint32_t>(i)});
        }
    // By hash, and within a hash in tree order, the order of the reports.
    std::sort(m_listings.begin(), m_listings.end(), [](const Listing& a, const Listing& b) {
        if (a.hash != b.hash)
            return a.hash < b.hash;
        if (a.superCategory != b.superCategory)
            return a.superCategory < b.superCategory;
        if (a.category != b.category)
            return a.category < b.category;
        return a.channel < b.channel;
    });
    m_indexedSuperCategories = tree.size();
}

const tql_list<std::pair<size_t, size_t>>&
TQLModuleResponseChannelListingHandler::listingsOf(const tql_string& channelGuid)
{
    const tql_list<TQLSuperCategories>& tree = record()->superCategories;
    if (m_indexedSuperCategories != tree.size())
        indexListings();
    m_hits.clear();
    Listing key{hashOf(channelGuid), 0, 0, 0};
    auto it = std::lower_bound(m_listings.begin(), m_listings.end(), key,
                               [](const Listing& a, const Listing& b) { return a.hash < b.hash; });
    for (; it != m_listings.end() && it->hash == key.hash; ++it) {
        // The place is checked before it is read: a hash says only where to look.
        if (it->superCategory >= tree.size())
            continue;
        const TQLSuperCategories& super = tree[it->superCategory];
        if (it->category >= super.categories.size())
            continue;
        const tql_list<TQLChannelBase>& listed = super.categories[it->category].channels;
        if (it->channel < listed.size() && listed[it->channel].channelGuid == channelGuid)
            m_hits.emplace_back(it->superCategory, it->category);
    }
    return m_hits;
}
