#include "live/lab/Namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "live/Process.h"

namespace Lab {

namespace {

int current() {
   return ::open( "/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC );
}

void check( int result, char const * what ) {
   if ( result < 0 ) {
      throw std::system_error( errno, std::generic_category(), what );
   }
}

}  // namespace

Namespace::Namespace() {
   int const before = current();
   check( before, "namespace" );
   check( ::unshare( CLONE_NEWNET ), "unshare" );
   fd_ = current();
   check( ::setns( before, CLONE_NEWNET ), "setns" );
   ::close( before );
   silence();
}

Namespace::Namespace( std::string const & name )
   : fd_( ::open( ( "/run/netns/" + name ).c_str(), O_RDONLY | O_CLOEXEC ) ) {
   check( fd_, name.c_str() );
   silence();
}

void Namespace::silence() const {
   Inside const inside( *this );
   std::ofstream( "/proc/sys/net/ipv6/conf/default/disable_ipv6" ) << 1;
}

Namespace::~Namespace() {
   ::close( fd_ );
}

std::string Namespace::path() const {
   return "/proc/" + std::to_string( ::getpid() ) + "/fd/" + std::to_string( fd_ );
}

std::string Namespace::run( std::vector< std::string > const & words ) const {
   Live::Folder const folder;
   Inside const inside( *this );
   Live::Process process( words, folder.path() / "output" );
   if ( process.ended() != 0 ) {
      std::string command;
      for ( std::string const & word : words ) {
         command += word + " ";
      }
      throw std::runtime_error( command + "failed: " + process.output() );
   }
   return process.output();
}

Namespace::Inside::Inside( Namespace const & space ) : before_( current() ) {
   check( ::setns( space.fd_, CLONE_NEWNET ), "setns" );
}

Namespace::Inside::~Inside() {
   ::setns( before_, CLONE_NEWNET );
   ::close( before_ );
}

void connect( Namespace const & one, std::string const & interface, Namespace const & other,
              std::string const & otherInterface ) {
   one.run( { "ip", "link", "add", interface, "type", "veth", "peer", "name", otherInterface,
              "netns", other.path() } );
   for ( auto const & [space, name] :
         { std::pair( &one, interface ), std::pair( &other, otherInterface ) } ) {
      space->run( { "ethtool", "-K", name, "tx", "off", "rxvlan", "off", "txvlan", "off" } );
      space->run( { "ip", "link", "set", name, "up" } );
   }
}

}  // namespace Lab
