#include "live/lab/Wire.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace Lab {

Wire::Wire( Namespace const & space, std::string const & interface ) {
   Namespace::Inside const inside( space );
   fd_ = ::socket( AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, htons( ETH_P_ALL ) );
   sockaddr_ll address{};
   address.sll_family = AF_PACKET;
   address.sll_protocol = htons( ETH_P_ALL );
   address.sll_ifindex = static_cast< int >( ::if_nametoindex( interface.c_str() ) );
   int const on = 1;
   int const room = 16 * 1024 * 1024;
   ::setsockopt( fd_, SOL_PACKET, PACKET_AUXDATA, &on, sizeof on );
   ::setsockopt( fd_, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on );
   ::setsockopt( fd_, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room );
   packet_mreq promiscuous{};
   promiscuous.mr_ifindex = address.sll_ifindex;
   promiscuous.mr_type = PACKET_MR_PROMISC;
   ::setsockopt( fd_, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &promiscuous, sizeof promiscuous );
   if ( ::bind( fd_, reinterpret_cast< sockaddr * >( &address ), sizeof address ) != 0 ) {
      throw std::system_error( errno, std::generic_category(), interface );
   }
}

Wire::~Wire() {
   ::close( fd_ );
}

void Wire::send( Frame const & frame ) const {
   std::string const bytes = frame.bytes();
   [[maybe_unused]] ssize_t const lost = ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL );
}

std::optional< Frame > Wire::receive() const {
   char bytes[2048];
   alignas( cmsghdr ) char control[256];
   iovec part{ bytes, sizeof bytes };
   msghdr message{};
   message.msg_iov = &part;
   message.msg_iovlen = 1;
   message.msg_control = control;
   message.msg_controllen = sizeof control;
   ssize_t const size = ::recvmsg( fd_, &message, 0 );
   if ( size < 0 ) {
      return std::nullopt;
   }
   std::optional< std::uint16_t > vlan;
   for ( cmsghdr * header = CMSG_FIRSTHDR( &message ); header;
         header = CMSG_NXTHDR( &message, header ) ) {
      tpacket_auxdata tag;
      if ( header->cmsg_level == SOL_PACKET && header->cmsg_type == PACKET_AUXDATA ) {
         std::memcpy( &tag, CMSG_DATA( header ), sizeof tag );
         if ( tag.tp_status & TP_STATUS_VLAN_VALID ) {
            vlan = static_cast< std::uint16_t >( tag.tp_vlan_tci & 0xfff );
         }
      }
   }
   return frameOf( { bytes, static_cast< std::size_t >( size ) }, vlan );
}

}  // namespace Lab
