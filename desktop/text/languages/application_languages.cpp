#include <array>

#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {
namespace {

constexpr StringRule kTriple{.open = "\"\"\"", .close = "\"\"\"", .reach = Reach::lines};
constexpr std::array kComments{CommentRule{"//"}, CommentRule{"/*", "*/"}};
constexpr std::array kNestedComments{CommentRule{"//"},
                                     CommentRule{.open = "/*", .close = "*/", .nesting = CommentNesting::nested}};
constexpr std::array kStrings{kTriple, StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kSwiftStrings{kTriple, StringRule{"\"", "\""}};
constexpr std::array kSharpStrings{kTriple,
                                   StringRule{"$\"", "\""},
                                   StringRule{"@\"", "\"", '\0', Reach::lines},
                                   StringRule{"$@\"", "\"", '\0', Reach::lines},
                                   StringRule{"\"", "\""},
                                   StringRule{"'", "'"}};
constexpr std::array kHaskellStrings{StringRule{"\"", "\""}};
constexpr std::array kHaskellComments{CommentRule{"--"},
                                      CommentRule{.open = "{-", .close = "-}", .nesting = CommentNesting::nested}};

constexpr std::array kLanguages{
    Language{
        .name = "Java",
        .aliases = "java",
        .keywords =
            "abstract assert break case catch class continue default do else enum exports extends final finally for if "
            "implements import instanceof interface module native new non-sealed package permits private protected "
            "public record requires return sealed static strictfp super switch synchronized this throw throws "
            "transient try var volatile while yield",
        .types = "boolean byte char double float int long short void",
        .constants = "false null true",
        .strings = kStrings,
        .comments = kComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators,
    },
    Language{
        .name = "Kotlin",
        .aliases = "kt kotlin kts",
        .keywords =
            "abstract actual annotation as break by catch class companion const constructor continue crossinline data "
            "do else enum expect external final finally for fun get if import in infix init inline inner interface "
            "internal is lateinit noinline object open operator out override package private protected public reified "
            "return sealed set super suspend tailrec this throw try typealias val value var vararg when where while",
        .constants = "false null true",
        .strings = kStrings,
        .comments = kNestedComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators,
    },
    Language{
        .name = "Swift",
        .aliases = "swift",
        .keywords =
            "actor as associatedtype async await break case catch class continue convenience default defer deinit do "
            "dynamic else enum extension fallthrough fileprivate final for func get guard if import in indirect infix "
            "init inout internal is lazy let mutating nonisolated nonmutating open operator optional override postfix "
            "prefix private protocol public repeat required rethrows return self set some static struct subscript "
            "super switch throw throws try typealias unowned var weak where while",
        .types = "Any Bool Character Double Float Int Never Self String Void",
        .constants = "false nil true",
        .strings = kSwiftStrings,
        .comments = kNestedComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators | Trait::directives,
    },
    Language{
        .name = "C#",
        .aliases = "cs csharp c# csx",
        .keywords =
            "abstract as async await base break case catch checked class const continue default delegate do else enum "
            "event explicit extern finally fixed for foreach get goto if implicit in init interface internal is lock "
            "nameof namespace new operator out override params partial private protected public readonly record ref "
            "required return sealed set sizeof stackalloc static struct switch this throw try typeof unchecked unsafe "
            "using value var virtual volatile when where while with yield",
        .types = "bool byte char decimal double dynamic float int long nint nuint object sbyte short string uint ulong "
                 "ushort void",
        .constants = "false null true",
        .strings = kSharpStrings,
        .comments = kComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::directives,
    },
    Language{
        .name = "Scala",
        .aliases = "scala sbt sc",
        .keywords =
            "abstract case catch class def derives do else enum export extends extension final finally for forSome "
            "given if implicit import lazy match new object override package private protected return sealed super "
            "then this throw trait try type using val var while with yield",
        .constants = "false null true",
        .strings = kStrings,
        .comments = kNestedComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators,
    },
    Language{
        .name = "Dart",
        .aliases = "dart",
        .keywords =
            "abstract as assert async await base break case catch class const continue covariant default deferred do "
            "else enum export extends extension external factory final finally for get if implements import in "
            "interface is late library mixin new of on operator part required rethrow return sealed set static super "
            "switch sync this throw try typedef var when while with yield",
        .types = "bool double dynamic int num void",
        .constants = "false null true",
        .strings = kStrings,
        .comments = kComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators,
    },
    Language{
        .name = "Haskell",
        .aliases = "hs haskell lhs",
        .keywords =
            "as case class data default deriving do else family forall foreign hiding if import in infix infixl infixr "
            "instance let mdo module newtype of proc qualified rec then type where",
        .constants = "False True otherwise",
        .strings = kHaskellStrings,
        .comments = kHaskellComments,
        .wordMarks = "'",
        .traits = Trait::capitalTypes | Trait::lifetimes,
    },
};

}  // namespace

std::span<const Language> applicationLanguages() { return kLanguages; }

}  // namespace ravant::desktop
