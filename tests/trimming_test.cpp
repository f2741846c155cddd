// Trimming in place against the same steps on strings.
#include "support.h"

namespace {

// Texts with the room behind them. What stands behind a terminator is open.
struct Trimming {
    std::wstring text;
    int32_t length;
    int leading, trailing;
    std::wstring left;
    int32_t left_length;
};

template <class Unit, class... Flags>
void trim(int32_t (*function)(Unit *, int32_t *, Flags...) noexcept, const Trimming &t, std::type_identity_t<Flags>... flags)
{
    Outcome got{0, "", t.length};
    const std::string left = spelled(t.left, sizeof(Unit));
    auto *const text = const_cast<Unit *>(destinations.hold<Unit>(spelled(t.text, sizeof(Unit))));
    got.status = function(text, &got.out_length, flags...);
    got.value = destinations.found().substr(0, left.size());
    EXPECT_EQ(got, (Outcome{0, left, t.left_length}))
        << "{" << PrintToString(t.text) << ", " << t.length << ", " << t.leading << ", " << t.trailing << "}";
}

Trimming trimmed(const std::wstring &text, int32_t length, int leading, int trailing)
{
    std::wstring left = text.substr(0, static_cast<size_t>(std::max(length, 0)));
    if (leading == 1) left.erase(0, left.find_first_not_of(' '));
    if (leading == 1 && left.empty()) return {text, length, leading, trailing, text, 0};
    if (trailing == 1) left.resize(left.find_last_not_of(' ') + 1);
    const size_t size = left.size();
    left += trailing == 1 ? L"\0"s : text.substr(size);
    return {text, length, leading, trailing, left, static_cast<int32_t>(size)};
}

TEST(Trimming, RemovesBlanks)
{
    // clang-format off
    std::vector<Trimming> rows = {
        {L"  ab  #", 6, 1, 1, L"ab\0"s, 2}, {L"ab  #", 4, 0, 1, L"ab\0"s, 2}, {L"   #", 3, 1, 1, L"   #", 0},
        {L"   #", 3, 0, 1, L"\0"s, 0}, {L"   #", 3, 1, 0, L"   #", 0}, {L"\tab#", 3, 1, 1, L"\tab\0"s, 3},
        {L" ab #", 4, 2, 2, L" ab #", 4}, {L" ab #", 4, 255, 1, L" ab\0"s, 3}, {L"  ab#", 4, 1, 0, L"abab#", 2},
        {L"  a b  c#", 6, 1, 1, L"a b\0"s, 3}, {L"#", 0, 1, 1, L"#", 0}, {L"#", 0, 0, 1, L"\0"s, 0},
        {L" ab#", -1, 1, 1, L" ab#", 0}, {L" ab#", INT32_MIN, 0, 1, L"\0"s, 0}, {L" ab#", -1, 0, 0, L" ab#", 0},
    };
    // clang-format on
    Random random(21);
    for (int i = 0; i < 40000; ++i) {
        std::wstring text(random() % 40, ' '), left;
        for (uint32_t letters = random() % (i % 2 == 0 ? 4 : 80); letters > 0 && !text.empty(); --letters)
            text[random() % text.size()] = L"abcd\t\t\v\xA0\x120\x2020\x80000020\x80000009\0"[random() % 13];
        const size_t size = i % 3 < 2 ? text.size() : random() % (text.size() + 1);
        const int length = static_cast<int>(size), flags[] = {0, 1, 1, 2};
        rows.push_back(trimmed(text + L'#', length, flags[random() % 4], flags[random() % 4]));

        for (const wchar_t character : std::wstring(text.substr(0, size).c_str()))
            if (character != ' ' && character != '\t') left += character;
        if (i % 3 == 0 || left == text) text += L'\0';  // ends the text early, or is the room owed
        const auto left_length = static_cast<int32_t>(left.size());
        trim(TrimAllSpacesTabsW, {text, length + (i % 3 == 0 ? i % 9 : 0), 0, 0, left + L'\0', left_length});
    }
    for (const Trimming &t : rows) {
        const auto leading = static_cast<uint8_t>(t.leading), trailing = static_cast<uint8_t>(t.trailing);
        trim(TrimSpacesW, t, leading, trailing);
        if (t.text.find_first_of(L"\x120\x2020\x80000020") == t.text.npos) trim(TrimSpaces, t, leading, trailing);
    }
}

}  // namespace
