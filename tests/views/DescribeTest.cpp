#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "records/catalog/Catalog.h"
#include "records/catalog/Meaning.h"
#include "views/Describe.h"

namespace {

using testing::IsEmpty;

void reach( std::string const & type, std::set< std::string > & reached ) {
   Catalog::Meaning const * const meaning = Catalog::meaningNamed( type );
   EXPECT_TRUE( meaning ) << type << " has no words";
   if ( meaning && reached.insert( type ).second ) {
      for ( Catalog::Part const & part : meaning->parts ) {
         for ( Catalog::Form const & form : { part.key, part.value } ) {
            if ( !form.type.empty() ) {
               reach( form.type, reached );
            }
         }
      }
   }
}

TEST( DescribeTest, EachPartOfTheStateHasItsWords ) {
   std::set< std::string > reached;
   for ( Catalog::Place const & place : Catalog::places() ) {
      reach( place.entryType ? place.entryType : place.type, reached );
   }
   for ( Catalog::Meaning const & meaning : Catalog::meanings() ) {
      EXPECT_TRUE( reached.contains( meaning.type ) ) << meaning.type << " stands nowhere";
      EXPECT_THAT( meaning.strays, IsEmpty() ) << meaning.type;
      EXPECT_NE( meaning.parts.empty(), meaning.numbers.empty() ) << meaning.type;
      for ( Catalog::Part const & part : meaning.parts ) {
         EXPECT_NE( part.words, "" ) << meaning.type << " " << part.name;
      }
   }
}

TEST( DescribeTest, PageIsUpToDate ) {
   std::ifstream file( QORCLIENT_SOURCES "/../docs/state.md" );
   std::string const page( std::istreambuf_iterator< char >( file ), {} );
   std::ostringstream made;
   Views::describeAll( made );
   EXPECT_EQ( page, made.str() ) << "make it anew: qorclient describe --markdown > docs/state.md";
}

TEST( DescribeTest, PrintsAPlaceWithItsTypesOrNamesWhatThereIs ) {
   std::ostringstream out;
   EXPECT_EQ( Views::describe( out, "mlag/hostTable" ), "" );
   EXPECT_EQ( out.str(), R"(mlag/hostTable
The hosts that the MLAG peer has learnt.
Written by the MLAG agent.

Mlag::HostTable
The hosts of the peer.

NAME       KEY             VALUE            MEANING
hostEntry  vlanId|address  Mlag::HostEntry  the hosts

Mlag::HostEntryKey
A host.

NAME     VALUE                                    MEANING
vlanId   a whole number, 1 to 4094                the VLAN that it is in
address  a MAC address such as 02:00:00:00:00:01  its address

Mlag::HostEntry
A host as the peer reports it.

NAME      VALUE               MEANING
key       Mlag::HostEntryKey  the host
intf      a text              the name of the interface on which the peer learnt it
unusable  true or false       set for an entry that says nothing of the host's place
)" );
   EXPECT_THAT( Views::describe( out, "Mlag::Hosts" ),
                testing::StartsWith( "nothing is called Mlag::Hosts; there are: Mlag::Config, " ) );
   EXPECT_THAT( Views::describe( out, "mlag" ), testing::HasSubstr( "mlag/hostTable" ) );
}

}  // namespace
