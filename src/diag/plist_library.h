// The property-list library. It is loaded only if there is a settings file to read: most jobs have
// none, and loading the library would take longer than filtering a small job.
#pragma once

#include <plist/plist.h>

namespace jobshaper {

// The functions of the library that the log uses, without the prefix "plist_".
struct PlistLibrary {
  decltype(&plist_from_xml) from_xml;
  decltype(&plist_to_xml) to_xml;
  void (*mem_free)(void*);  // its name before libplist 2.3: plist_to_xml_free
  decltype(&plist_free) free;
  decltype(&plist_get_node_type) get_node_type;
  decltype(&plist_dict_get_item) dict_get_item;
  decltype(&plist_get_bool_val) get_bool_val;
  decltype(&plist_get_uint_val) get_uint_val;
  decltype(&plist_get_string_ptr) get_string_ptr;
};

// Loads the library at the first call and never unloads it. Returns null if it is not installed,
// which leaves the log off.
const PlistLibrary* plistLibrary();

}  // namespace jobshaper
