#include <array>

#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array kStrings{StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kComments{CommentRule{"//"}, CommentRule{"/*", "*/"}};
constexpr std::array kNestedComments{CommentRule{"//"},
                                     CommentRule{.open = "/*", .close = "*/", .nesting = CommentNesting::nested}};
constexpr std::array kRustStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines}};
constexpr std::array kGoStrings{StringRule{"\"", "\""}, StringRule{"'", "'"}, StringRule{"`", "`", '\0', Reach::lines}};

constexpr Language kC{
    .name = "C",
    .aliases = "c h",
    .keywords =
        "_Alignas _Alignof _Generic _Noreturn _Static_assert _Thread_local alignas alignof asm auto break case const "
        "constexpr continue default do else enum extern for goto if inline register restrict return sizeof static "
        "static_assert struct switch thread_local typedef typeof union volatile while",
    .types =
        "FILE bool char double float int int16_t int32_t int64_t int8_t intptr_t long ptrdiff_t short signed size_t "
        "ssize_t time_t uint16_t uint32_t uint64_t uint8_t uintptr_t unsigned va_list void wchar_t _Atomic _Bool "
        "_Complex",
    .constants = "NULL false nullptr true",
    .strings = kStrings,
    .comments = kComments,
    .traits = Trait::calls | Trait::directives | Trait::stringPrefixes,
};

constexpr std::array kLanguages{
    kC,
    Language{
        .name = "C++",
        .aliases = "cpp c++ cc cxx hpp hh hxx h++ ipp tpp inl cppm ixx ino",
        .keywords =
            "and and_eq bitand bitor catch class co_await co_return co_yield compl concept const_cast consteval "
            "constinit decltype delete dynamic_cast explicit export final friend import module mutable namespace new "
            "noexcept not not_eq operator or or_eq override private protected public reinterpret_cast requires "
            "static_cast template this throw try typeid typename using virtual xor xor_eq",
        .types = "char16_t char32_t char8_t string string_view",
        .base = &kC,
        .strings = kStrings,
        .comments = kComments,
        .traits =
            Trait::calls | Trait::capitalTypes | Trait::directives | Trait::stringPrefixes | Trait::rawParentheses,
    },
    Language{
        .name = "Objective-C",
        .aliases = "objc objective-c mm",
        .keywords = "id in instancetype nonatomic self strong super weak",
        .constants = "NO YES nil",
        .base = &kC,
        .strings = kStrings,
        .comments = kComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::directives | Trait::decorators,
    },
    Language{
        .name = "Rust",
        .aliases = "rs rust",
        .keywords =
            "as async await become box break const continue crate default do dyn else enum extern fn for if impl in "
            "let loop macro match mod move mut pub ref return static struct super trait type union unsafe use where "
            "while yield self",
        .types = "Self bool char f32 f64 i128 i16 i32 i64 i8 isize str u128 u16 u32 u64 u8 usize",
        .constants = "Err None Ok Some false true",
        .strings = kRustStrings,
        .comments = kNestedComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::lifetimes | Trait::macros | Trait::rawHashes |
                  Trait::stringPrefixes | Trait::attributes,
    },
    Language{
        .name = "Go",
        .aliases = "go golang",
        .keywords =
            "break case chan const continue default defer else fallthrough for func go goto if import interface map "
            "package range return select struct switch type var",
        .types = "any bool byte comparable complex128 complex64 error float32 float64 int int16 int32 int64 int8 rune "
                 "string uint uint16 uint32 uint64 uint8 uintptr",
        .constants = "false iota nil true",
        .strings = kGoStrings,
        .comments = kComments,
        .traits = Trait::calls,
    },
    Language{
        .name = "Zig",
        .aliases = "zig",
        .keywords =
            "align and anytype asm break catch comptime const continue defer else enum errdefer error export extern fn "
            "for if inline noalias or orelse packed pub return struct switch test threadlocal try union unreachable "
            "usingnamespace var volatile while",
        .types = "anyerror bool f32 f64 i16 i32 i64 i8 isize type u16 u32 u64 u8 usize void",
        .constants = "false null true undefined",
        .strings = kStrings,
        .comments = kComments,
        .traits = Trait::calls | Trait::decorators,
    },
};

}  // namespace

std::span<const Language> cFamily() { return kLanguages; }

}  // namespace ravant::desktop
