#include "store/store_keys.h"

#include <string>

namespace nq::store {

Bytes numberedKey(int index, std::string_view suffix) {
    Bytes key = std::to_string(index);
    key.append(suffix);
    return key;
}

}  // namespace nq::store
