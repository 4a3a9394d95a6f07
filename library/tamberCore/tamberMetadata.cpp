#include "tamberMetadata.h"

void TamberMetadata::add(int type, const tql_string& value)
{
    TamberMetadataRec item;
    item.type = type;
    item.value = value;
    m_items.push_back(item);
}

bool TamberMetadata::isEmpty() const
{
    auto quiet = [](const songTS& s) { return !s.flag1 && !s.flag2 && !s.value; };
    return m_items.empty() && m_presentationTimeMs == 0 && quiet(m_songStart) && quiet(m_songEnd) && !m_flags &&
           m_text1.isEmpty() && m_assetGuid.isEmpty() && !m_timestampMs && !m_reserved1 && !m_lengthSeconds &&
           !m_reserved2 && m_text2.isEmpty() && m_text3.isEmpty() && m_consumptionInfo.isEmpty() &&
           m_consumeTime.isEmpty() && !m_reserved3 && !m_reserved4 && !m_reserved5 && m_text4.isEmpty();
}
