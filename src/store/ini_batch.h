#pragma once
// Many reads and writes of one profile file as one change: the file is parsed at most once
// and written once, at commit, instead of a parse-copy-write round per key. Reads see the
// writes made so far in the batch, exactly as separate calls would have read them back.
//
// The writes are applied at commit onto the file as it is then, in the order they were made,
// with the result one CIniFile::WriteIniKey after another would have had.

#include <memory>
#include <string>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

class IniBatch {
  public:
    explicit IniBatch(std::string path);
    ~IniBatch();  // commits what is still pending
    IniBatch(const IniBatch&) = delete;
    IniBatch& operator=(const IniBatch&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

    // As CIniFile::GetIniKey, seeing this batch's pending writes.
    [[nodiscard]] Bytes GetIniKey(std::string_view section, std::string_view key) const;

    // As CIniFile::WriteIniKey, held until commit. A name that would not read back as itself
    // is refused here (false) and never reaches the file.
    bool WriteIniKey(std::string_view section, std::string_view key, std::string_view value);

    // Writes the pending changes in one replacement of the file; true when they are on disk
    // (or there was nothing to change). The batch is empty afterwards and can be used again.
    bool commit();

  private:
    struct Pending;
    std::string path_;
    std::unique_ptr<Pending> pending_;
};

}  // namespace nq
