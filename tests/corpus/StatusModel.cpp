#include <algorithm>

#include "corpus/Models.h"

namespace model {

namespace {

using End = StatusVerdict::End;

// What stands before the first blank, behind those at the start. Text ends at a Ctrl+Z.
std::string firstToken(const std::string& bytes) {
    const std::string text = bytes.substr(0, bytes.find('\x1A'));
    static const char* const kBlanks = " \t\r\n\v\f";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_first_of(kBlanks, begin) - begin);
}

std::shared_ptr<Json> member(const Json& object, const std::u16string& name) {
    const auto found = object.members()->find(name);
    return found == object.members()->end() ? nullptr : found->second;
}

enum class Age { Older, NotOlder, NoNumber, TooBig };

Age ageOf(const std::u16string& major) {
    size_t at = 0;
    while (at < major.size() && (major[at] == u' ' || (major[at] >= u'\t' && major[at] <= u'\r')))
        ++at;
    const bool isNegative = at < major.size() && major[at] == u'-';
    if (at < major.size() && (major[at] == u'-' || major[at] == u'+')) ++at;
    const size_t digits = at;
    long long number = 0;
    for (; at < major.size() && major[at] >= u'0' && major[at] <= u'9'; ++at)
        number = std::min(number * 10 + (major[at] - u'0'), 10'000'000'000LL);
    if (at == digits) return Age::NoNumber;
    if (isNegative) number = -number;
    if (number > 2147483647LL || number < -2147483648LL) return Age::TooBig;
    return number < 39 ? Age::Older : Age::NotOlder;
}

std::wstring badVersionLine(const std::u16string& major, const wchar_t* reason) {
    return L"Failed to convert majorVersion (" + std::wstring(major.begin(), major.end()) +
           L") into int with the reason" + reason;
}

// Whether the document is from too old an application; true also where the verdict is final.
bool judgeAge(const Json& document, StatusVerdict& verdict) {
    for (const char16_t* code : {u"ZRKLDV", u"ZRKLPR", u"ZRKL"}) {
        const std::shared_ptr<Json> entry = member(document, code);
        if (!entry) continue;
        if (!entry->members()) {
            verdict.end = End::PlatformException;
            return true;
        }
        const std::shared_ptr<Json> version = member(*entry, u"appVersion");
        if (!version) continue;
        const auto* const text = std::get_if<std::u16string>(&version->content);
        if (!text) {
            verdict.end = End::PlatformException;
            return true;
        }
        const std::u16string major = text->substr(0, text->find(u'.'));
        const Age age = ageOf(major);
        if (age == Age::Older) {
            verdict.isDeleted = true;
            return true;
        }
        if (age == Age::NoNumber)
            verdict.badVersions.push_back(badVersionLine(major, L"invalid stoi argument"));
        if (age == Age::TooBig)
            verdict.badVersions.push_back(badVersionLine(major, L"stoi argument out of range"));
    }
    return false;
}

}  // namespace

StatusVerdict judge(const std::string& bytes) {
    StatusVerdict verdict;
    const std::optional<std::u16string> text = decoded(firstToken(bytes));
    if (!text) {
        verdict.end = End::StandardException;
        return verdict;
    }
    const std::shared_ptr<Json> document = parsed(*text);
    if (!document || !document->members()) return verdict;
    if (judgeAge(*document, verdict)) return verdict;
    verdict.document = document;
    const std::shared_ptr<Json> own = member(*document, u"OWN");
    if (!own) return verdict;
    if (!own->members()) {
        verdict.end = End::PlatformException;
        return verdict;
    }
    const std::shared_ptr<Json> status = member(*own, u"status");
    if (!status) return verdict;
    const auto* const number = std::get_if<double>(&status->content);
    if (!number) {
        verdict.end = End::PlatformException;
    } else if (*number == 0) {
        verdict.end = End::Done;
    }
    return verdict;
}

}  // namespace model
