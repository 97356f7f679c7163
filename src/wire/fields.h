#pragma once
// Bodies are lists of fields, each closed by one NUL. Handlers cut fields off the front of
// the body; the server and the tracer read them without consuming.

#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

#include "wire/gbk.h"

namespace nq {

// Cuts the first NUL-closed field off the front of body and returns it; the NUL goes too.
// A body with no NUL left has no further field: nothing is cut and the result is empty, so
// that the caller's target keeps what it had.
std::optional<Bytes> cutField(Bytes& body);

// Reads fields one after another without copying. The body must outlive the reader.
class FieldReader {
  public:
    explicit FieldReader(std::string_view body) : rest_(body) {}
    std::optional<std::string_view> next();
    [[nodiscard]] std::string_view rest() const { return rest_; }

  private:
    std::string_view rest_;
};

// Splits the whole body at every NUL. A body that ends in NUL yields an empty last element,
// which callers that split this way drop themselves.
[[nodiscard]] std::vector<std::string_view> splitAll(std::string_view body);

// The number of NUL bytes, from which rosters derive their row counts.
[[nodiscard]] int countNul(std::string_view body);

// Joins fields, closing each with a NUL.
[[nodiscard]] Bytes joinFields(std::initializer_list<std::string_view> fields);
void appendField(Bytes& body, std::string_view field);

// Decimal text to number in the lenient way every numeric field is read: leading blanks,
// an optional sign, digits with an optional fraction; anything else stops the number, and
// text with no number in front reads as 0.
[[nodiscard]] double toNumber(std::string_view text);

}  // namespace nq
