#include "JsonNode.h"

namespace standin {

bool JsonMembers::set(const std::wstring& name, JsonNodePointer value) {
    const auto [place, isNew] = m_places.emplace(name, m_members.size());
    if (isNew) {
        m_members.emplace_back(name, std::move(value));
    } else {
        m_members[place->second].second = std::move(value);
    }
    return !isNew;
}

bool JsonMembers::remove(const std::wstring& name) {
    const auto place = m_places.find(name);
    if (place == m_places.end()) return false;
    const size_t index = place->second;
    m_members.erase(m_members.begin() + static_cast<std::ptrdiff_t>(index));
    m_places.erase(place);
    for (auto& [other, otherIndex] : m_places) {
        if (otherIndex > index) --otherIndex;
    }
    return true;
}

void JsonMembers::clear() {
    m_members.clear();
    m_places.clear();
}

JsonNodePointer JsonMembers::find(const std::wstring& name) const {
    const auto place = m_places.find(name);
    return place == m_places.end() ? nullptr : m_members[place->second].second;
}

}  // namespace standin
