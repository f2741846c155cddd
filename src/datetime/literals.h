// Wide text that is being read, and the search for a format's literals in it.
#pragma once

#include <cstdint>

#include "text/layouts.h"
#include "zemt.h"

namespace zemt {

// Wide text up to its terminator, at any address. A character is read only where the one before it is not the terminator.
class Text
{
public:
    explicit Text(const void *at) : at_(bytes(at)) {}

    const char *at() const { return at_; }
    wchar_t operator[](int64_t index) const { return load<wchar_t>(at_ + index * 4); }
    bool ended() const { return (*this)[0] == L'\0'; }
    void skip(int64_t characters) { at_ += characters * 4; }

    // Characters before the terminator, count at most.
    int32_t characters_up_to(int32_t count) const
    {
        int32_t found = 0;
        while (found < count && (*this)[found] != L'\0') ++found;
        return found;
    }

private:
    const char *at_;
};

// ---- Literals ----------------------------------------------------------------------------------------------------------------

// Literal entries of a list, one after the other. A 0 character among them ends the run, as it would end a text.
struct Run {
    const ZEMTFmtItem *first;
    const ZEMTFmtItem *end;
};

inline Run run_at(const ZEMTFmtItem *entry)
{
    const ZEMTFmtItem *const first = entry;
    while (entry->code == ZEMT_FMT_LITERAL && entry->ch != L'\0') ++entry;
    return {first, entry};
}

inline bool stands_at(Text text, Run run)
{
    for (const ZEMTFmtItem *entry = run.first; entry != run.end; ++entry, text.skip(1)) {
        if (text[0] != entry->ch) return false;  // also at the text's terminator, which no entry of a run equals
    }
    return true;
}

// Moves entry to the next code and text behind the literals before it.
[[gnu::noinline]] inline int32_t next_code(const ZEMTFmtItem *&entry, Text &text)
{
    const Run run = run_at(entry);
    entry = run.end;
    while (entry->code == ZEMT_FMT_LITERAL) ++entry;
    if (entry->code == ZEMT_FMT_END) return ZEMT_RC_END_OF_FORMAT;
    for (Text candidate = text;; candidate.skip(1)) {
        if (stands_at(candidate, run)) {
            text = candidate;
            text.skip(run.end - run.first);
            return ZEMT_RC_OK;
        }
        if (candidate.ended()) return ZEMT_RC_ERROR;
    }
}

}  // namespace zemt
