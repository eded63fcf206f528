// A stand-in for the header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

typedef unsigned int sysdir_search_path_enumeration_state;
enum sysdir_search_path_directory_t : unsigned { SYSDIR_DIRECTORY_LIBRARY = 5 };
enum sysdir_search_path_domain_mask_t : unsigned { SYSDIR_DOMAIN_MASK_USER = 1 };

extern "C" {

sysdir_search_path_enumeration_state sysdir_start_search_path_enumeration(sysdir_search_path_directory_t directory,
                                                                          sysdir_search_path_domain_mask_t domains);
sysdir_search_path_enumeration_state sysdir_get_next_search_path_enumeration(sysdir_search_path_enumeration_state state,
                                                                             char *path);

} // extern "C"
