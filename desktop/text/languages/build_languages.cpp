#include <array>

#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array kHashBehindBlank{CommentRule{.open = "#", .place = CommentPlace::behindBlank}};
constexpr std::array kStrings{StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kCMakeStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines}};
constexpr std::array kCMakeComments{CommentRule{"#[[", "]]"}, CommentRule{"#"}};
constexpr std::array kHclComments{CommentRule{"#"}, CommentRule{"//"}, CommentRule{"/*", "*/"}};
constexpr std::array kNixStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines},
                                 StringRule{"''", "''", '\0', Reach::lines}};
constexpr std::array kNixComments{CommentRule{"#"}, CommentRule{"/*", "*/"}};
constexpr std::array kGroovyStrings{StringRule{.open = "\"\"\"", .close = "\"\"\"", .reach = Reach::lines},
                                    StringRule{.open = "'''", .close = "'''", .reach = Reach::lines},
                                    StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kGroovyComments{CommentRule{"//"}, CommentRule{"/*", "*/"}};

constexpr std::array kLanguages{
    Language{
        .name = "CMake",
        .aliases = "cmake",
        .fileNames = "cmakelists.txt",
        .keywords =
            "AND AS COMMAND COMPONENTS CONFIG DEPENDS DESTINATION EQUAL EXISTS GREATER IN INTERFACE ITEMS LESS LISTS "
            "MATCHES NAMES NOT OR PRIVATE PROPERTIES PUBLIC QUIET REQUIRED SOURCES STREQUAL TARGET TARGETS VERSION "
            "WORKING_DIRECTORY break continue else elseif endforeach endfunction endif endmacro endwhile foreach "
            "function if macro return while",
        .types = "BOOL CACHE FILEPATH INTERNAL MODULE OBJECT PATH SHARED STATIC STRING",
        .constants = "FALSE OFF ON TRUE",
        .strings = kCMakeStrings,
        .comments = kCMakeComments,
        .traits = Trait::calls | Trait::dollarVariables,
    },
    Language{
        .name = "Makefile",
        .aliases = "make makefile mk mak",
        .fileNames = "makefile gnumakefile",
        .keywords =
            "define else endef endif export ifdef ifeq ifndef ifneq include override private undefine unexport vpath",
        .strings = kStrings,
        .comments = kHashBehindBlank,
        .wordMarks = "-./%",
        .wordStarts = ".%",
        .traits = Trait::dollarVariables | Trait::colonKeys,
    },
    Language{
        .name = "Dockerfile",
        .aliases = "docker dockerfile containerfile",
        .fileNames = "dockerfile containerfile",
        .keywords =
            "ADD ARG AS CMD COPY ENTRYPOINT ENV EXPOSE FROM HEALTHCHECK LABEL MAINTAINER ONBUILD RUN SHELL STOPSIGNAL "
            "USER VOLUME WORKDIR",
        .strings = kStrings,
        .comments = kHashBehindBlank,
        .wordMarks = "-./",
        .traits = Trait::dollarVariables | Trait::documents,
    },
    Language{
        .name = "HCL",
        .aliases = "tf hcl terraform tfvars",
        .keywords =
            "data dynamic else endfor endif for if in locals module output provider resource terraform variable",
        .types = "any bool list map number object set string tuple",
        .constants = "false null true",
        .strings = kStrings,
        .comments = kHclComments,
        .wordMarks = "-",
        .traits = Trait::calls | Trait::equalsKeys | Trait::documents,
    },
    Language{
        .name = "Nix",
        .aliases = "nix",
        .keywords = "assert else if import in inherit let or rec then with",
        .constants = "false null true",
        .strings = kNixStrings,
        .comments = kNixComments,
        .wordMarks = "-'",
        .traits = Trait::equalsKeys,
    },
    Language{
        .name = "Groovy",
        .aliases = "groovy gradle",
        .fileNames = "jenkinsfile",
        .keywords =
            "abstract as assert break case catch class continue def default do else enum extends final finally for if "
            "implements import in instanceof interface new package private protected public return static super switch "
            "this throw throws trait try var void while",
        .types = "boolean byte char double float int long short",
        .constants = "false null true",
        .strings = kGroovyStrings,
        .comments = kGroovyComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators,
    },
};

}  // namespace

std::span<const Language> buildLanguages() { return kLanguages; }

}  // namespace ravant::desktop
