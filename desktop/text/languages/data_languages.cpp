#include <array>

#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array kStrings{StringRule{"\"", "\""}, StringRule{"'", "'"}};
constexpr std::array kJsonStrings{StringRule{"\"", "\""}};
constexpr std::array kJsonComments{CommentRule{"//"}, CommentRule{"/*", "*/"}};
constexpr std::array kSqlStrings{StringRule{"'", "'", '\0', Reach::lines}, StringRule{"\"", "\"", '\0'},
                                 StringRule{"`", "`", '\0'}};
constexpr std::array kSqlComments{CommentRule{"--"}, CommentRule{"/*", "*/"}};
constexpr std::array kYamlStrings{StringRule{.open = "\"", .close = "\"", .reach = Reach::lines},
                                  StringRule{"'", "'", '\0', Reach::lines}};
constexpr std::array kHashBehindBlank{CommentRule{.open = "#", .place = CommentPlace::behindBlank}};
constexpr std::array kTomlStrings{StringRule{.open = "\"\"\"", .close = "\"\"\"", .reach = Reach::lines},
                                  StringRule{"'''", "'''", '\0', Reach::lines}, StringRule{"\"", "\""},
                                  StringRule{"'", "'", '\0'}};
constexpr std::array kHash{CommentRule{"#"}};
constexpr std::array kIniComments{CommentRule{.open = "#", .place = CommentPlace::behindBlank},
                                  CommentRule{.open = ";", .place = CommentPlace::behindBlank}};
constexpr std::array kProtoComments{CommentRule{"//"}, CommentRule{"/*", "*/"}};

constexpr std::array kLanguages{
    Language{
        .name = "SQL",
        .aliases = "sql sqlite postgres postgresql psql mysql plsql tsql ddl",
        .keywords =
            "action add after all alter analyze and any as asc before begin between by cascade case cast check collate "
            "column commit conflict constraint create cross current database declare default deferrable delete desc "
            "distinct do drop each else end escape except exclude exists explain fetch filter for foreign from full "
            "function generated grant group having if ignore in index inner insert instead intersect into is isnull "
            "join "
            "key language lateral left like limit materialized natural no not nothing notnull nulls of offset on only "
            "or "
            "order outer over partition pragma primary procedure range recursive references release rename replace "
            "restrict returning returns revoke right rollback row rows savepoint schema select set sequence strict "
            "table "
            "temp temporary then to transaction trigger truncate union unique update using vacuum values view virtual "
            "when where window with without",
        .types =
            "bigint blob boolean bytea char character date datetime decimal double float int integer interval json "
            "jsonb numeric real serial smallint text time timestamp timestamptz tinyint uuid varchar",
        .constants = "current_date current_time current_timestamp false null true",
        .strings = kSqlStrings,
        .comments = kSqlComments,
        .traits = Trait::ignoresCase | Trait::calls,
    },
    Language{
        .name = "JSON",
        .aliases = "json jsonc json5 jsonl ndjson geojson webmanifest",
        .constants = "false null true",
        .strings = kJsonStrings,
        .comments = kJsonComments,
        .traits = Trait::colonKeys,
    },
    Language{
        .name = "YAML",
        .aliases = "yaml yml",
        .fileNames = ".clang-format .clang-tidy",
        .constants = "False True false no null off on true yes ~",
        .strings = kYamlStrings,
        .comments = kHashBehindBlank,
        .wordMarks = "-./'",
        .traits = Trait::colonKeys,
    },
    Language{
        .name = "TOML",
        .aliases = "toml",
        .fileNames = "cargo.lock poetry.lock uv.lock",
        .constants = "false inf nan true",
        .strings = kTomlStrings,
        .comments = kHash,
        .wordMarks = "-.",
        .traits = Trait::equalsKeys | Trait::sections,
    },
    Language{
        .name = "INI",
        .aliases = "ini cfg conf properties desktop service editorconfig gitconfig env dotenv",
        .fileNames = ".env .gitconfig .gitmodules .editorconfig .npmrc",
        .constants = "false no off on true yes",
        .strings = kStrings,
        .comments = kIniComments,
        .wordMarks = "-./'",
        .traits = Trait::equalsKeys | Trait::sections,
    },
    Language{
        .name = "Protocol Buffers",
        .aliases = "proto protobuf",
        .keywords = "enum extend import map message oneof option optional package public repeated required reserved "
                    "returns rpc service stream syntax to",
        .types =
            "bool bytes double fixed32 fixed64 float int32 int64 sfixed32 sfixed64 sint32 sint64 string uint32 uint64",
        .constants = "false true",
        .strings = kStrings,
        .comments = kProtoComments,
        .traits = Trait::capitalTypes,
    },
    Language{
        .name = "Diff",
        .aliases = "diff patch udiff",
        .grammar = Grammar::patch,
    },
};

}  // namespace

std::span<const Language> dataLanguages() { return kLanguages; }

}  // namespace ravant::desktop
