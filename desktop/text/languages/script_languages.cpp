#include <array>

#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array kHash{CommentRule{"#"}};
constexpr std::array kPythonStrings{StringRule{.open = "\"\"\"", .close = "\"\"\"", .reach = Reach::lines},
                                    StringRule{.open = "'''", .close = "'''", .reach = Reach::lines},
                                    StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kRubyStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines},
                                  StringRule{.open = "'", .close = "'", .reach = Reach::lines}, StringRule{"`", "`"}};
constexpr std::array kRubyComments{CommentRule{"#"}, CommentRule{"=begin", "=end", CommentPlace::lineStart}};
constexpr std::array kPhpStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines},
                                 StringRule{.open = "'", .close = "'", .reach = Reach::lines}, StringRule{"`", "`"}};
constexpr std::array kPhpComments{CommentRule{"//"}, CommentRule{"#"}, CommentRule{"/*", "*/"}};
constexpr std::array kShellStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines},
                                   StringRule{"'", "'", '\0', Reach::lines}};
constexpr std::array kShellComments{CommentRule{.open = "#", .place = CommentPlace::behindBlank}};
constexpr std::array kPowerShellStrings{StringRule{"\"", "\"", '`', Reach::lines},
                                        StringRule{"'", "'", '\0', Reach::lines}};
constexpr std::array kPowerShellComments{CommentRule{"<#", "#>"}, CommentRule{"#"}};
constexpr std::array kLuaStrings{StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kLuaComments{CommentRule{"--[[", "]]"}, CommentRule{"--"}};
constexpr std::array kElixirStrings{StringRule{.open = "\"\"\"", .close = "\"\"\"", .reach = Reach::lines},
                                    StringRule{"\"", "\""}, StringRule{"'", "'"}};

constexpr std::array kLanguages{
    Language{
        .name = "Python",
        .aliases = "py python python3 py3 pyi pyw pyx ipython pycon",
        .keywords =
            "and as assert async await break case class continue def del elif else except finally for from global if "
            "import in is lambda match nonlocal not or pass raise return try while with yield self cls",
        .types = "bool bytearray bytes complex dict float frozenset int list object set str tuple type",
        .constants = "Ellipsis False None NotImplemented True",
        .strings = kPythonStrings,
        .comments = kHash,
        .traits = Trait::calls | Trait::capitalTypes | Trait::decorators | Trait::stringPrefixes,
    },
    Language{
        .name = "Ruby",
        .aliases = "rb ruby rake gemspec podspec",
        .fileNames = "gemfile rakefile podfile vagrantfile brewfile fastfile",
        .keywords =
            "alias and attr_accessor attr_reader attr_writer begin break case class def defined? do else elsif end "
            "ensure extend for if in include module next not or private protected public raise redo require "
            "require_relative rescue retry return self super then undef unless until when while yield",
        .constants = "false nil true __FILE__ __LINE__",
        .strings = kRubyStrings,
        .comments = kRubyComments,
        .wordMarks = "?!",
        .traits = Trait::calls | Trait::capitalTypes | Trait::atVariables | Trait::dollarVariables | Trait::regexes |
                  Trait::documents,
    },
    Language{
        .name = "PHP",
        .aliases = "php phtml php8",
        .keywords =
            "abstract and as break callable case catch class clone const continue declare default do echo else elseif "
            "empty enddeclare endfor endforeach endif endswitch endwhile enum extends final finally fn for foreach "
            "function global goto if implements include include_once instanceof insteadof interface isset list match "
            "namespace new or print private protected public readonly require require_once return static switch throw "
            "trait try unset use var while xor yield php",
        .types = "array bool float int iterable mixed never object self string void",
        .constants = "FALSE NULL TRUE false null true",
        .strings = kPhpStrings,
        .comments = kPhpComments,
        .traits = Trait::calls | Trait::capitalTypes | Trait::dollarVariables | Trait::documents | Trait::attributes,
    },
    Language{
        .name = "Shell",
        .aliases = "sh shell bash zsh ksh fish shellscript",
        .fileNames = ".bashrc .bash_profile .zshrc .profile .envrc",
        .keywords =
            "break case continue declare do done elif else esac eval exec exit export fi for function if in local "
            "readonly return select set shift source then trap typeset unset until while",
        .constants = "false true",
        .strings = kShellStrings,
        .comments = kShellComments,
        .wordMarks = "-.",
        .traits = Trait::dollarVariables | Trait::documents,
    },
    Language{
        .name = "PowerShell",
        .aliases = "ps1 powershell pwsh psm1",
        .keywords = "begin break catch class continue data do dynamicparam else elseif end enum exit filter finally "
                    "for foreach "
                    "from function if in param process return switch throw trap try until using while",
        .strings = kPowerShellStrings,
        .comments = kPowerShellComments,
        .wordMarks = "-",
        .traits = Trait::ignoresCase | Trait::dollarVariables | Trait::calls,
    },
    Language{
        .name = "Lua",
        .aliases = "lua luau",
        .keywords =
            "and break do else elseif end for function goto if in local not or repeat return then until while self",
        .constants = "false nil true",
        .strings = kLuaStrings,
        .comments = kLuaComments,
        .traits = Trait::calls | Trait::rawBrackets,
    },
    Language{
        .name = "Elixir",
        .aliases = "ex elixir exs",
        .keywords =
            "after alias and case catch cond def defimpl defmacro defmodule defp defprotocol defstruct do else end fn "
            "for if import in not or quote raise receive rescue require try unless unquote use when with",
        .constants = "false nil true",
        .strings = kElixirStrings,
        .comments = kHash,
        .wordMarks = "?!",
        .traits = Trait::calls | Trait::capitalTypes | Trait::atVariables,
    },
};

}  // namespace

std::span<const Language> scriptLanguages() { return kLanguages; }

}  // namespace ravant::desktop
