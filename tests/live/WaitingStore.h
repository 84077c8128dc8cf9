#pragma once

#include <memory>
#include <string>

#include "stores/redis/RedisStore.h"

namespace Live {

/** A store over Redis for a switch on a virtual clock: each step waits until the server has it. */
class WaitingStore final : public Corestore::Store {
 public:
   explicit WaitingStore( std::string const & address )
      : address_( *Redis::addressOf( address ) ),
        scheduler_( new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) ) {}

   void holderIs( Corestore::RowHolder * holder ) override {
      if ( !holder ) {
         store_ = nullptr;
         return;
      }
      store_ = std::make_unique< Redis::RedisStore >(
         Redis::RedisStore::Setup{ .scheduler = scheduler_,
                                   .address = address_,
                                   .role = "test",
                                   .owns = []( auto ) { return true; } },
         *holder );
      scheduler_->run( [this] { return store_->isReady(); } );
   }
   void load( std::function< void( Corestore::Row const & ) > const & row ) override {
      store_->load( row );
   }
   void put( Corestore::Row const & row ) override { store_->put( row ); }
   void del( std::string const & path ) override { store_->del( path ); }
   void flush() override {
      store_->flush();
      scheduler_->run( [this] { return store_->takes() == Takes::now; } );
   }

   Redis::RedisStore & store() { return *store_; }

 private:
   Redis::Address address_;
   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   std::unique_ptr< Redis::RedisStore > store_;
};

}  // namespace Live
