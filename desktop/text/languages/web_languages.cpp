#include <array>

#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array kStrings{StringRule{"\"", "\""}, StringRule{"'", "'"},
                              StringRule{.open = "`", .close = "`", .reach = Reach::lines, .code = "${"}};
constexpr std::array kComments{CommentRule{"//"}, CommentRule{"/*", "*/"}};
constexpr std::array kCssStrings{StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kCssComments{CommentRule{"/*", "*/"}};
constexpr std::array kGraphqlStrings{StringRule{.open = "\"\"\"", .close = "\"\"\"", .reach = Reach::lines},
                                     StringRule{"\"", "\""}};
constexpr std::array kHash{CommentRule{"#"}};
constexpr Trait kScript = Trait::calls | Trait::capitalTypes | Trait::decorators | Trait::regexes;

constexpr Language kJavaScript{
    .name = "JavaScript",
    .aliases = "js javascript mjs cjs jsx node",
    .keywords =
        "as async await break case catch class const continue debugger default delete do else export extends finally "
        "for from function get if import in instanceof let new of return set static super switch this throw try "
        "typeof var void while with yield",
    .constants = "Infinity NaN false null true undefined",
    .strings = kStrings,
    .comments = kComments,
    .wordMarks = "$",
    .wordStarts = "$#",
    .traits = kScript,
};

constexpr std::array kLanguages{
    kJavaScript,
    Language{
        .name = "TypeScript",
        .aliases = "ts typescript tsx mts cts",
        .keywords =
            "abstract accessor asserts declare enum implements infer interface is keyof module namespace override "
            "private protected public readonly satisfies type unique",
        .types = "any bigint boolean never number object string symbol unknown",
        .base = &kJavaScript,
        .strings = kStrings,
        .comments = kComments,
        .wordMarks = "$",
        .wordStarts = "$#",
        .traits = kScript,
    },
    Language{
        .name = "QML",
        .aliases = "qml",
        .keywords = "alias component default id on pragma property readonly required signal",
        .types = "bool color date double font int list point real rect size string url var vector3d",
        .base = &kJavaScript,
        .strings = kStrings,
        .comments = kComments,
        .wordMarks = ".",
        .traits = kScript | Trait::colonKeys,
    },
    Language{
        .name = "HTML",
        .aliases = "html htm xhtml vue svelte astro hbs erb ejs jinja",
        .grammar = Grammar::markup,
    },
    Language{
        .name = "XML",
        .aliases = "xml svg xsd xsl xslt plist xaml csproj props targets rss qrc ui storyboard",
        .grammar = Grammar::markup,
    },
    Language{
        .name = "CSS",
        .aliases = "css scss sass less",
        .keywords = "important from to and not only",
        .strings = kCssStrings,
        .comments = kCssComments,
        .wordMarks = "-",
        .wordStarts = "-",
        .traits = Trait::calls | Trait::decorators | Trait::colonKeys | Trait::hashColors | Trait::dollarVariables,
    },
    Language{
        .name = "GraphQL",
        .aliases = "gql graphql",
        .keywords =
            "directive enum extend fragment implements input interface mutation on query repeatable scalar schema "
            "subscription type union",
        .types = "Boolean Float ID Int String",
        .constants = "false null true",
        .strings = kGraphqlStrings,
        .comments = kHash,
        .traits = Trait::capitalTypes | Trait::decorators | Trait::dollarVariables,
    },
};

}  // namespace

std::span<const Language> webLanguages() { return kLanguages; }

}  // namespace ravant::desktop
