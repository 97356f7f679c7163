#include "store/ini_batch.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <vector>

#include "store/ini_cache.h"
#include "store/ini_file.h"

namespace nq {

using namespace ini;

struct IniBatch::Pending {
    std::vector<KeyWrite> writes;
    // Folded section NUL folded key -> the last write of it; built up to `indexed` when a read
    // needs it, so that a batch of writes alone never hashes its keys twice.
    std::unordered_map<std::string, size_t> latest;
    size_t indexed = 0;
    std::shared_ptr<const Document> base;  // the file as first read in this batch
    // Writes come in runs of one section: its name is checked once a run.
    std::string lastRawSection;
    std::optional<SectionName> lastSection;
};

namespace {
std::string keyId(std::string_view foldedSection, std::string_view foldedKey) {
    std::string id(foldedSection);
    id.append(1, '\0').append(foldedKey);
    return id;
}
}  // namespace

IniBatch::IniBatch(std::string path) : path_(std::move(path)), pending_(std::make_unique<Pending>()) {}

IniBatch::~IniBatch() {
    commit();
}

Bytes IniBatch::GetIniKey(std::string_view section, std::string_view key) const {
    const std::string_view sec = trimBlanks(upToNul(section));
    const std::string_view k = trimBlanks(upToNul(key));
    if (sec.empty() || k.empty()) return {};
    const std::string fs = foldName(sec);
    const std::string fk = foldName(k);
    Pending& p = *pending_;
    for (; p.indexed < p.writes.size(); ++p.indexed) {
        p.latest[keyId(p.writes[p.indexed].foldedSection, p.writes[p.indexed].foldedKey)] = p.indexed;
    }
    std::optional<std::string_view> raw;
    if (const auto it = p.latest.find(keyId(fs, fk)); it != p.latest.end()) {
        // What the file would hold after the write: the value with blanks around it stripped.
        raw = trimBlanks(pending_->writes[it->second].value);
    } else {
        if (!p.base) p.base = cachedDocument(path_);
        raw = p.base->rawValue(fs, fk);
    }
    Bytes out(trimSpaces(profileValue(raw, CIniFile::kMaxValueBytes)));
    std::erase(out, '\0');
    return out;
}

bool IniBatch::WriteIniKey(std::string_view section, std::string_view key, std::string_view value) {
    Pending& p = *pending_;
    if (p.writes.empty() || section != p.lastRawSection) {
        p.lastRawSection.assign(section);
        p.lastSection = checkSection(section);
    }
    if (!p.lastSection) return false;
    std::optional<KeyWrite> w = prepareWrite(*p.lastSection, key, value);
    if (!w) return false;
    p.writes.push_back(*std::move(w));
    return true;
}

bool IniBatch::commit() {
    if (pending_->writes.empty()) return true;
    // Let go of the file as read, so that the change may take the cached document over.
    pending_->base.reset();
    const bool ok = modifyFile(path_, [this](Document& doc) { return applyWrites(doc, pending_->writes); });
    pending_ = std::make_unique<Pending>();
    return ok;
}

}  // namespace nq
