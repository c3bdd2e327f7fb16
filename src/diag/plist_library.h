// The property-list library, loaded only when there is a list to read: most runs have none, and
// loading it takes longer than many a small job.
#pragma once

#include <plist/plist.h>

namespace jobshaper {

// The library's functions that the log needs, under their names without the prefix.
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

// Loads the library at the first call and keeps it. Null when it is not there, which leaves the
// log off.
const PlistLibrary* plistLibrary();

}  // namespace jobshaper
