#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/kel/Hash.h"
#include "platform/wirekit/IpAddr.h"
#include "platform/wirekit/TextValue.h"

namespace Wirekit {

/** An address of either family, or none (the default).

    None is a value of its own: its text is empty, and it differs from 0.0.0.0 and from "::". Order:
    none, IPv4, IPv6. */
class IpGenAddr {
 public:
   constexpr IpGenAddr() = default;
   constexpr IpGenAddr( Ip4Addr addr ) : family_( Family::v4 ), words_{ addr.bits() } {}
   constexpr IpGenAddr( Ip6Addr const & addr ) : family_( Family::v6 ), words_( addr.words() ) {}

   constexpr bool isV4() const { return family_ == Family::v4; }
   constexpr bool isV6() const { return family_ == Family::v6; }
   /** False for none. */
   constexpr explicit operator bool() const { return family_ != Family::none; }

   /** The zero address if this isn't of that family. */
   constexpr Ip4Addr v4Addr() const { return Ip4Addr( isV4() ? words_[0] : 0 ); }
   constexpr Ip6Addr v6Addr() const { return isV6() ? Ip6Addr( words_ ) : Ip6Addr(); }

   constexpr std::size_t hash() const {
      return isV6() ? v6Addr().hash()
                    : Kel::mixHash( std::uint64_t{ words_[0] } << 1 | std::uint64_t{ isV4() } );
   }

   static constexpr char const * form = "an IP address such as 10.0.0.1 or 2001:db8::1";
   std::string stringValue() const;
   static std::optional< IpGenAddr > parse( std::string_view text );

   friend constexpr bool operator==( IpGenAddr const & a, IpGenAddr const & b ) {
      return a.family_ == b.family_ && a.words_[0] == b.words_[0] &&
             ( !a.isV6() || a.words_ == b.words_ );
   }
   friend constexpr auto operator<=>( IpGenAddr const &, IpGenAddr const & ) = default;

 private:
   enum class Family : std::uint8_t { none, v4, v6 };

   Family family_ = Family::none;
   /** An IPv4 address is the first word, with zeros behind. */
   Ip6Addr::Words words_{};
};

/** A prefix of either family, "10.0.0.0/8" or "2001:db8::/32", or none (the default, empty text).

    The bits behind the prefix length are kept as they were given. */
class IpGenPrefix {
 public:
   constexpr IpGenPrefix() = default;
   /** Throws RangeException for a length that the family of the address doesn't have; no address
       has none but 0. */
   IpGenPrefix( IpGenAddr const & addr, unsigned len );

   constexpr IpGenAddr const & addr() const { return addr_; }
   constexpr unsigned len() const { return len_; }
   constexpr explicit operator bool() const { return static_cast< bool >( addr_ ); }

   /** Address and prefix length of one family; zero and 0 if this isn't of that family. */
   constexpr Ip4Addr v4Addr() const { return addr_.v4Addr(); }
   constexpr unsigned v4Prefix() const { return addr_.isV4() ? len_ : 0U; }
   constexpr Ip6Addr v6Addr() const { return addr_.v6Addr(); }
   constexpr unsigned v6Prefix() const { return addr_.isV6() ? len_ : 0U; }

   constexpr std::size_t hash() const {
      return Kel::combineHash( addr_.hash(), Kel::mixHash( len_ ) );
   }

   static constexpr char const * form = "a prefix such as 10.0.0.0/8 or 2001:db8::/32";
   std::string stringValue() const;
   static std::optional< IpGenPrefix > parse( std::string_view text );

   friend constexpr bool operator==( IpGenPrefix const &, IpGenPrefix const & ) = default;
   friend constexpr auto operator<=>( IpGenPrefix const &, IpGenPrefix const & ) = default;

 private:
   IpGenAddr addr_;
   std::uint8_t len_ = 0;
};

}  // namespace Wirekit
