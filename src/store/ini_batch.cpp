#include "store/ini_batch.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "store/ini_cache.h"
#include "store/ini_file.h"

namespace nq {

using namespace ini;

struct IniBatch::Pending {
    std::vector<KeyWrite> writes;
    std::unordered_map<std::string, size_t> latest;  // folded section NUL folded key -> writes index
    mutable std::shared_ptr<const Document> base;    // the file as first read in this batch
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
    std::optional<std::string_view> raw;
    if (const auto it = pending_->latest.find(keyId(fs, fk)); it != pending_->latest.end()) {
        // What the file would hold after the write: the value with blanks around it stripped.
        raw = trimBlanks(pending_->writes[it->second].value);
    } else {
        if (!pending_->base) pending_->base = cachedDocument(path_);
        raw = pending_->base->rawValue(fs, fk);
    }
    Bytes out(trimSpaces(profileValue(raw, CIniFile::kMaxValueBytes)));
    std::erase(out, '\0');
    return out;
}

bool IniBatch::WriteIniKey(std::string_view section, std::string_view key, std::string_view value) {
    std::optional<KeyWrite> w = prepareWrite(section, key, value);
    if (!w) return false;
    pending_->latest[keyId(w->foldedSection, w->foldedKey)] = pending_->writes.size();
    pending_->writes.push_back(*std::move(w));
    return true;
}

bool IniBatch::commit() {
    if (pending_->writes.empty()) return true;
    const bool ok = modifyFile(path_, [this](Document& doc) { return applyWrites(doc, pending_->writes); });
    pending_ = std::make_unique<Pending>();
    return ok;
}

}  // namespace nq
