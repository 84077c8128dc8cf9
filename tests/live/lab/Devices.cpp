#include "live/lab/Devices.h"

#include <algorithm>
#include <utility>

namespace Lab {

Station::Station( Loop & loop, Wire const & wire, Mac const & mac,
                  std::optional< std::uint16_t > vlan )
   : loop_( loop ), wire_( &wire ), mac_( mac ), vlan_( vlan ) {
   attach();
}

Station::~Station() {
   loop_.leave( this );
}

void Station::attach() {
   loop_.hear( this, *wire_, [this]( Frame const & frame ) { take( frame ); } );
}

void Station::moveTo( Wire const & wire ) {
   loop_.leave( this );
   {
      auto const held = loop_.lock();
      wire_ = &wire;
   }
   attach();
}

void Station::put( Frame frame ) const {
   frame.vlan = vlan_;
   wire_->send( frame );
}

void Station::send( Frame frame ) {
   auto const held = loop_.lock();
   put( std::move( frame ) );
}

void Station::take( Frame const & frame ) {
   bool const isGroup = ( frame.to[0] & 1 ) != 0;
   bool const isMine = ( frame.to == mac_ || isGroup ) && frame.vlan == vlan_;
   if ( !isMine || std::ranges::none_of( streams_, [&frame]( auto const & stream ) {
           return stream.second( frame );
        } ) ) {
      heard_.push_back( frame );
   }
}

std::vector< Frame > Station::heard() {
   auto const held = loop_.lock();
   return std::exchange( heard_, {} );
}

ServiceDevice::ServiceDevice( Loop & loop, Wire const & near, Wire const & far,
                              std::uint16_t serviceVlan, std::uint16_t originalVlan )
   : loop_( loop ) {
   loop_.hear( this, near, [=, this, &far]( Frame const & frame ) {
      pass( frame, far, serviceVlan, originalVlan, true );
   } );
   loop_.hear( this, far, [=, this, &near]( Frame const & frame ) {
      pass( frame, near, originalVlan, serviceVlan, false );
   } );
}

ServiceDevice::~ServiceDevice() {
   loop_.leave( this );
}

void ServiceDevice::pass( Frame frame, Wire const & out, std::uint16_t from, std::uint16_t to,
                          bool isThere ) {
   if ( frame.vlan != from ) {
      ++counts_.strange;
      return;
   }
   ++( isThere ? counts_.there : counts_.back );
   if ( !on_ ) {
      return;
   }
   frame.vlan = to;
   if ( auto mark = frame.mark() ) {
      ( isThere ? mark->passedThere : mark->passedBack ) = true;
      frame.markIs( *mark );
   }
   out.send( frame );
}

void ServiceDevice::isOn( bool on ) {
   auto const held = loop_.lock();
   on_ = on;
}

ServiceDevice::Counts ServiceDevice::counts() {
   auto const held = loop_.lock();
   return counts_;
}

}  // namespace Lab
