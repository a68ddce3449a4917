#pragma once

#include <git2.h>

#include "platform/libraries/late_library.hpp"

// libgit2, as far as it is used here, in the version that the headers are of. It is loaded late.
namespace ravant::git {

// clang-format off: one a line
#define RAVANT_LIBGIT2_FUNCTIONS(each)                \
  each(kLibgit2, git_attr_get_many)                   \
  each(kLibgit2, git_attr_value)                      \
  each(kLibgit2, git_blob_data_is_binary)             \
  each(kLibgit2, git_blob_rawcontent)                 \
  each(kLibgit2, git_blob_rawsize)                    \
  each(kLibgit2, git_branch_is_checked_out)           \
  each(kLibgit2, git_branch_iterator_free)            \
  each(kLibgit2, git_branch_iterator_new)             \
  each(kLibgit2, git_branch_lookup)                   \
  each(kLibgit2, git_branch_name)                     \
  each(kLibgit2, git_branch_name_is_valid)            \
  each(kLibgit2, git_branch_next)                     \
  each(kLibgit2, git_buf_dispose)                     \
  each(kLibgit2, git_commit_free)                     \
  each(kLibgit2, git_commit_lookup)                   \
  each(kLibgit2, git_commit_parent_id)                \
  each(kLibgit2, git_commit_parentcount)              \
  each(kLibgit2, git_commit_summary)                  \
  each(kLibgit2, git_commit_time)                     \
  each(kLibgit2, git_config_add_file_ondisk)          \
  each(kLibgit2, git_config_find_global)              \
  each(kLibgit2, git_config_find_system)              \
  each(kLibgit2, git_config_find_xdg)                 \
  each(kLibgit2, git_config_free)                     \
  each(kLibgit2, git_config_get_bool)                 \
  each(kLibgit2, git_config_get_string_buf)           \
  each(kLibgit2, git_config_iterator_free)            \
  each(kLibgit2, git_config_iterator_new)             \
  each(kLibgit2, git_config_next)                     \
  each(kLibgit2, git_config_open_ondisk)              \
  each(kLibgit2, git_diff_find_similar)               \
  each(kLibgit2, git_diff_free)                       \
  each(kLibgit2, git_diff_get_delta)                  \
  each(kLibgit2, git_diff_index_to_workdir)           \
  each(kLibgit2, git_diff_num_deltas)                 \
  each(kLibgit2, git_diff_tree_to_index)              \
  each(kLibgit2, git_diff_tree_to_workdir)            \
  each(kLibgit2, git_diff_tree_to_workdir_with_index) \
  each(kLibgit2, git_error_last)                      \
  each(kLibgit2, git_filter_list_apply_to_buffer)     \
  each(kLibgit2, git_filter_list_free)                \
  each(kLibgit2, git_filter_list_load)                \
  each(kLibgit2, git_index_add)                       \
  each(kLibgit2, git_index_conflict_get)              \
  each(kLibgit2, git_index_entrycount)                \
  each(kLibgit2, git_index_find)                      \
  each(kLibgit2, git_index_find_prefix)               \
  each(kLibgit2, git_index_free)                      \
  each(kLibgit2, git_index_get_byindex)               \
  each(kLibgit2, git_index_get_bypath)                \
  each(kLibgit2, git_index_owner)                     \
  each(kLibgit2, git_index_path)                      \
  each(kLibgit2, git_index_read)                      \
  each(kLibgit2, git_libgit2_init)                    \
  each(kLibgit2, git_libgit2_opts)                    \
  each(kLibgit2, git_object_free)                     \
  each(kLibgit2, git_object_id)                       \
  each(kLibgit2, git_object_lookup)                   \
  each(kLibgit2, git_oid_equal)                       \
  each(kLibgit2, git_oid_fromstr)                     \
  each(kLibgit2, git_oid_is_zero)                     \
  each(kLibgit2, git_oid_tostr)                       \
  each(kLibgit2, git_patch_free)                      \
  each(kLibgit2, git_patch_from_blob_and_buffer)      \
  each(kLibgit2, git_patch_from_blobs)                \
  each(kLibgit2, git_patch_from_buffers)              \
  each(kLibgit2, git_patch_from_diff)                 \
  each(kLibgit2, git_patch_get_delta)                 \
  each(kLibgit2, git_patch_get_hunk)                  \
  each(kLibgit2, git_patch_get_line_in_hunk)          \
  each(kLibgit2, git_patch_line_stats)                \
  each(kLibgit2, git_patch_num_hunks)                 \
  each(kLibgit2, git_reference_cmp)                   \
  each(kLibgit2, git_reference_free)                  \
  each(kLibgit2, git_reference_iterator_free)         \
  each(kLibgit2, git_reference_iterator_glob_new)     \
  each(kLibgit2, git_reference_lookup)                \
  each(kLibgit2, git_reference_name)                  \
  each(kLibgit2, git_reference_next_name)             \
  each(kLibgit2, git_reference_peel)                  \
  each(kLibgit2, git_reference_shorthand)             \
  each(kLibgit2, git_reference_symbolic_target)       \
  each(kLibgit2, git_reference_target)                \
  each(kLibgit2, git_reference_type)                  \
  each(kLibgit2, git_refspec_free)                    \
  each(kLibgit2, git_refspec_parse)                   \
  each(kLibgit2, git_refspec_src_matches)             \
  each(kLibgit2, git_refspec_transform)               \
  each(kLibgit2, git_remote_create_anonymous)         \
  each(kLibgit2, git_remote_free)                     \
  each(kLibgit2, git_remote_url)                      \
  each(kLibgit2, git_repository_commondir)            \
  each(kLibgit2, git_repository_config)               \
  each(kLibgit2, git_repository_config_snapshot)      \
  each(kLibgit2, git_repository_discover)             \
  each(kLibgit2, git_repository_fetchhead_foreach)    \
  each(kLibgit2, git_repository_free)                 \
  each(kLibgit2, git_repository_head)                 \
  each(kLibgit2, git_repository_head_detached)        \
  each(kLibgit2, git_repository_head_unborn)          \
  each(kLibgit2, git_repository_index)                \
  each(kLibgit2, git_repository_is_worktree)          \
  each(kLibgit2, git_repository_open_ext)             \
  each(kLibgit2, git_repository_path)                 \
  each(kLibgit2, git_repository_state)                \
  each(kLibgit2, git_repository_workdir)
// clang-format on

// NOLINTBEGIN(readability-identifier-naming): the library's names
#ifdef __APPLE__
RAVANT_LATE_LIBRARY(kLibgit2, "libgit2." LIBGIT2_SOVERSION ".dylib", RAVANT_LIBGIT2_FUNCTIONS);
#else
RAVANT_LATE_LIBRARY(kLibgit2, "libgit2.so." LIBGIT2_SOVERSION, RAVANT_LIBGIT2_FUNCTIONS);
#endif
// NOLINTEND(readability-identifier-naming)

}  // namespace ravant::git
