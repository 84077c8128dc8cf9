#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "switch/openflow/Message.h"

namespace OpenFlow {

/** Takes what a request sends, and numbers it. */
class Outgoing {
 public:
   Outgoing( std::string & bytes, std::uint32_t & lastXid )
      : bytes_( bytes ), lastXid_( lastXid ) {}
   std::uint32_t nextXid() { return ++lastXid_; }
   void put( std::string_view message ) { bytes_.append( message ); }

 private:
   std::string & bytes_;
   std::uint32_t & lastXid_;
};

/** Something that was asked of the switch. */
class Request {
 public:
   Request() = default;
   virtual ~Request() = default;
   Request( Request const & ) = delete;
   Request & operator=( Request const & ) = delete;

   /** Once more for what has not been sent. */
   virtual void begin( Outgoing & out ) = 0;
   /** Takes an answer to what it has sent; whether it was the last one. Throws DecodeError. */
   virtual bool take( Message const & message, Outgoing & out ) = 0;
   /** Tells whoever has asked, once it was the last one. */
   virtual void end() = 0;
};

class PortDescriptionsRequest final : public Request {
 public:
   using Done = std::function< void( std::vector< Port > ) >;
   explicit PortDescriptionsRequest( Done done ) : done_( std::move( done ) ) {}

   void begin( Outgoing & out ) override;
   bool take( Message const & message, Outgoing & out ) override;
   void end() override { done_( std::move( ports_ ) ); }

 private:
   Done done_;
   std::vector< Port > ports_;
};

class ReadFlowsRequest final : public Request {
 public:
   using Chunk = std::function< void( std::vector< Flow > ) >;
   ReadFlowsRequest( std::uint8_t table, Chunk chunk, std::function< void() > done )
      : table_( table ), chunk_( std::move( chunk ) ), done_( std::move( done ) ) {}

   void begin( Outgoing & out ) override;
   bool take( Message const & message, Outgoing & out ) override;
   void end() override { done_(); }

 private:
   std::uint8_t table_;
   Chunk chunk_;
   std::function< void() > done_;
};

/** What stands is told as what changes is, and not from here. */
class MonitorRequest final : public Request {
 public:
   MonitorRequest( std::vector< std::uint8_t > tables, std::function< void() > done )
      : tables_( std::move( tables ) ), done_( std::move( done ) ) {}

   void begin( Outgoing & out ) override;
   bool take( Message const & message, Outgoing & out ) override;
   void end() override { done_(); }

 private:
   std::vector< std::uint8_t > tables_;
   std::function< void() > done_;
};

}  // namespace OpenFlow
