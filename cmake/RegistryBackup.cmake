# Moving Uninstall entries aside and back, with the key move under RegistryKey.
target_sources(ferrymark_core PRIVATE ${CMAKE_CURRENT_LIST_DIR}/../engine/registry_backup.cpp)
