#pragma once

#include <memory>
#include <string>
#include <vector>

#include "live/Process.h"

namespace Live {

/** Open vSwitch of a test's own, in userspace, with its sockets and data in a folder of its own,
 * and in a network namespace of its own: one namespace has room for one daemon. */
class OpenVSwitch {
 public:
   /** Why the machine can't run it; empty when it can. For GTEST_SKIP. */
   static std::string missing();

   /** Starts the database and the daemon. */
   OpenVSwitch();
   ~OpenVSwitch();
   OpenVSwitch( OpenVSwitch const & ) = delete;
   OpenVSwitch & operator=( OpenVSwitch const & ) = delete;

   std::filesystem::path const & folder() const { return folder_.path(); }
   /** The network namespace, as `ip netns` names it, in which its interfaces are. */
   std::string const & netNamespace() const { return netNamespace_; }
   /** The database's socket. */
   std::string database() const { return folder_.path() / "db.sock"; }
   /** The socket on which a bridge is managed. */
   std::string management( std::string const & bridge ) const {
      return folder_.path() / ( bridge + ".mgmt" );
   }

   /** A bridge whose frames pass through this daemon alone, without any flow. */
   void addBridge( std::string const & bridge );
   /** A port that the daemon makes itself, on which nothing comes in; its number. */
   int addInternalPort( std::string const & bridge, std::string const & name );
   /** An interface of its namespace, such as one end of a veth pair; its number. */
   int addPort( std::string const & bridge, std::string const & interface );
   /** The most flows that a table takes; what is above is refused. */
   void limitTable( std::string const & bridge, int table, int flows );

   /** Kills the daemon and waits for its end; the database goes on. */
   void killDaemon();
   void startDaemon();
   void signalDaemon( int number ) const { daemon_->signal( number ); }

   /** A command of the database's client; what it says. Throws when it fails. */
   std::string vsctl( std::vector< std::string > words ) const;
   /** A command for a bridge by OpenFlow 1.4, such as "add-flow" and a flow; what it says. Throws
    *  when it fails. */
   std::string ofctl( std::string const & command, std::string const & bridge,
                      std::vector< std::string > words = {} ) const;
   /** All flows of a bridge, or of a table, a line each, as the switch's own tool prints them,
    *  without counters. */
   std::vector< std::string > flows( std::string const & bridge, int table = -1 ) const;

   /** A name, of a namespace or an interface, that no other process of tests uses. */
   static std::string ownName( std::string const & name );

 private:
   std::string run( std::vector< std::string > const & words ) const;

   Folder folder_;
   std::string netNamespace_;
   std::unique_ptr< Process > server_;
   std::unique_ptr< Process > daemon_;
};

}  // namespace Live
