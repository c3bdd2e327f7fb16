#include "diag/plist_library.h"

#include <dlfcn.h>

namespace jobshaper {

namespace {

// Returns false if the library does not have the function.
template <typename Function>
bool resolve(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

bool load(PlistLibrary& list) {
  void* const library = ::dlopen(JOBSHAPER_PLIST_LIBRARY, RTLD_LAZY | RTLD_LOCAL);
  return library && resolve(library, "plist_from_xml", list.from_xml) &&
         resolve(library, "plist_to_xml", list.to_xml) &&
         (resolve(library, "plist_mem_free", list.mem_free) ||
          resolve(library, "plist_to_xml_free", list.mem_free)) &&
         resolve(library, "plist_free", list.free) &&
         resolve(library, "plist_get_node_type", list.get_node_type) &&
         resolve(library, "plist_dict_get_item", list.dict_get_item) &&
         resolve(library, "plist_get_bool_val", list.get_bool_val) &&
         resolve(library, "plist_get_uint_val", list.get_uint_val) &&
         resolve(library, "plist_get_string_ptr", list.get_string_ptr);
}

}  // namespace

const PlistLibrary* plistLibrary() {
  static PlistLibrary functions;
  static const bool loaded = load(functions);
  return loaded ? &functions : nullptr;
}

}  // namespace jobshaper
