#pragma once
// All papers of a user: the built-in ones, and behind them his own.

#include "settings/paper_table.h"

namespace kv {

class Papers {
public:
    Papers() { custom_.Load(); }
    size_t count() const { return size_t{standard_.count()} + custom_.count(); }
    const PaperRecord& operator[](size_t index) const {
        return index < standard_.count() ? standard_[index] : custom_[index - standard_.count()];
    }

private:
    CStdPaperList standard_;
    CCustomPaperList custom_;
};

}  // namespace kv
