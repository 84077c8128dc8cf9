#include "switch/ovsdb/Operations.h"

namespace Ovsdb {

namespace {

/** An error as it stands in a reply: a text, or an object of the error and its details. */
std::string wordsOf( Json const & error ) {
   if ( !error.is_object() ) {
      return error.is_string() ? error.get< std::string >() : error.dump();
   }
   std::string const words = textOf( memberOf( error, "error" ) );
   return error.contains( "details" ) ? words + ": " + textOf( error["details"] ) : words;
}

Json rowsNamed( std::string const & name ) {
   return Json::array( { Json::array( { "name", "==", name } ) } );
}

}  // namespace

Json tunnelOperations( Bridge const & bridge, std::string const & bridgeName,
                       std::string const & port, std::string const & localAddress ) {
   std::map< std::string, std::string > const options{
      { "remote_ip", "flow" }, { "key", "flow" }, { "local_ip", localAddress } };
   Json const tunnel{ { "type", "vxlan" }, { "options", mapOf( options ) } };
   auto const standing = bridge.ports.find( port );
   if ( standing != bridge.ports.end() ) {
      auto const & interfaces = standing->second.interfaces;
      if ( interfaces.size() == 1 && interfaces[0].type == "vxlan" &&
           interfaces[0].options == options ) {
         return Json::array();
      }
      return Json::array( { { { "op", "update" },
                              { "table", "Interface" },
                              { "where", rowsNamed( port ) },
                              { "row", tunnel } } } );
   }
   Json interface = tunnel;
   interface["name"] = port;
   auto const added = []( char const * row ) { return Json::array( { "named-uuid", row } ); };
   return Json::array(
      { { { "op", "insert" },
          { "table", "Interface" },
          { "row", std::move( interface ) },
          { "uuid-name", "interface" } },
        { { "op", "insert" },
          { "table", "Port" },
          { "row", { { "name", port }, { "interfaces", added( "interface" ) } } },
          { "uuid-name", "port" } },
        // A port that no bridge has would vanish in silence.
        { { "op", "wait" },
          { "table", "Bridge" },
          { "where", rowsNamed( bridgeName ) },
          { "columns", Json::array( { "name" } ) },
          { "until", "==" },
          { "rows", Json::array( { { { "name", bridgeName } } } ) },
          { "timeout", 0 } },
        { { "op", "mutate" },
          { "table", "Bridge" },
          { "where", rowsNamed( bridgeName ) },
          { "mutations",
            Json::array( { Json::array( { "ports", "insert", added( "port" ) } ) } ) } } } );
}

std::string errorOf( Json const & reply ) {
   Json const & error = memberOf( reply, "error" );
   if ( !error.is_null() ) {
      return wordsOf( error );
   }
   Json const & results = memberOf( reply, "result" );
   if ( results.is_array() ) {
      for ( Json const & result : results ) {
         // An operation behind the one that failed is not carried out, and tells nothing.
         if ( result.is_object() && result.contains( "error" ) ) {
            return wordsOf( result );
         }
      }
   }
   return {};
}

}  // namespace Ovsdb
