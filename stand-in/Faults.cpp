#include "Faults.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace standin {

namespace {

// A number of the text's head, decimal or with 0x; takes it off the text.
unsigned long takeNumber(std::string& text, const std::string& whole) {
    char* end = nullptr;
    const unsigned long number = std::strtoul(text.c_str(), &end, 0);
    if (end == text.c_str()) throw std::invalid_argument("a number is missing in fault: " + whole);
    text.erase(0, static_cast<size_t>(end - text.c_str()));
    return number;
}

}  // namespace

std::string Fault::text() const {
    std::string text = call.empty() ? "#" : call + ":";
    text += std::to_string(index);
    if (lasting) text += "+";
    if (tearsCall) return text + "~";
    return endsProcess ? text + "!" : text + "=" + std::to_string(error);
}

Fault Fault::parse(std::string_view text) {
    const std::string whole(text);
    Fault fault;
    std::string rest;
    if (whole.starts_with('#')) {
        rest = whole.substr(1);
    } else {
        // Method names hold "::", so the count stands behind the last colon.
        const size_t colon = whole.rfind(':');
        if (colon == std::string::npos || colon == 0) {
            throw std::invalid_argument("no call named in fault: " + whole);
        }
        fault.call = whole.substr(0, colon);
        rest = whole.substr(colon + 1);
    }
    fault.index = takeNumber(rest, whole);
    if (rest == "!" || rest == "~") {
        fault.endsProcess = rest == "!";
        fault.tearsCall = rest == "~";
        return fault;
    }
    if (rest.starts_with('+')) {
        fault.lasting = true;
        rest.erase(0, 1);
    }
    if (!rest.starts_with('=')) throw std::invalid_argument("no error given in fault: " + whole);
    rest.erase(0, 1);
    fault.error = static_cast<DWORD>(takeNumber(rest, whole));
    if (!rest.empty()) throw std::invalid_argument("text behind the error in fault: " + whole);
    return fault;
}

void Faults::addAll(std::string_view textsBySemicolon) {
    while (!textsBySemicolon.empty()) {
        const size_t end = textsBySemicolon.find(';');
        const std::string_view one = textsBySemicolon.substr(0, end);
        if (!one.empty()) add(Fault::parse(one));
        textsBySemicolon.remove_prefix(end == std::string_view::npos ? one.size() : end + 1);
    }
}

Faults::Verdict Faults::judge(std::string_view name, size_t number, bool canFail, bool canTear) {
    Verdict verdict;
    for (Fault& fault : m_faults) {
        if (!fault.call.empty() && fault.call != name) continue;
        ++fault.seen;
        const size_t place = fault.call.empty() ? number : fault.seen;
        if (place != fault.index && !(fault.lasting && place > fault.index)) continue;

        if (fault.endsProcess) {
            verdict.endsProcess = true;
            fault.outcome = Fault::Outcome::Fired;
        } else if (fault.tearsCall && canTear) {
            verdict.tearsCall = true;
            fault.outcome = Fault::Outcome::Fired;
        } else if (!canFail || fault.tearsCall) {
            if (fault.outcome == Fault::Outcome::Waiting)
                fault.outcome = Fault::Outcome::CannotFail;
        } else if (!verdict.fails) {
            verdict.fails = true;
            verdict.error = fault.error;
            fault.outcome = Fault::Outcome::Fired;
        }
    }
    return verdict;
}

bool Faults::isNamed(std::string_view name) const {
    return std::any_of(m_faults.begin(), m_faults.end(),
                       [&](const Fault& fault) { return fault.call == name; });
}

std::vector<std::string> Faults::unfired() const {
    std::vector<std::string> texts;
    for (const Fault& fault : m_faults) {
        if (fault.outcome == Fault::Outcome::Waiting) texts.push_back(fault.text());
        if (fault.outcome == Fault::Outcome::CannotFail) {
            texts.push_back(fault.text() + " (cannot fail)");
        }
    }
    return texts;
}

}  // namespace standin
