#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace Kel {

/** The process-wide switches of the counting pointers. */
struct VFPtrInterface {
   /** When set, reference counts change by atomic operations; when clear, by plain ones. */
   static inline bool threadSafePointers_ = false;
};

/**
 * The base of every object with identity: state machines, notifiers, entities.
 *
 * One word holds the reference count and two flags. The object lives on the heap and is destroyed
 * when a release leaves the count at zero.
 */
class PtrInterface {
 public:
   PtrInterface() = default;
   PtrInterface( PtrInterface const & ) = delete;
   PtrInterface & operator=( PtrInterface const & ) = delete;

   void newRef() const noexcept { add( 1 ); }
   void deleteRef() const noexcept {
      if ( ( add( ~std::uint32_t{ 0 } ) & countMask ) == 0 ) {
         const_cast< PtrInterface * >( this )->handleZeroRef();
      }
   }
   /** The number of references now held; for tests and assertions. */
   std::uint32_t references() const { return word_ & countMask; }

   /** True for a zombie: nothing reaches it any more, what is on the stack runs to its end. */
   bool kelMarkedForDeletion() const { return ( word_ & deletionFlag ) != 0; }
   void kelMarkedForDeletionIs( bool marked ) { flagIs( deletionFlag, marked ); }

   bool hasNotificationActive() const { return ( word_ & activeFlag ) != 0; }
   virtual void hasNotificationActiveIs( bool active ) { flagIs( activeFlag, active ); }

 protected:
   virtual ~PtrInterface() = default;

   /** Runs when the last reference goes; destroys the object. */
   virtual void handleZeroRef() noexcept { delete this; }

 private:
   static constexpr std::uint32_t deletionFlag = 1u << 31;
   static constexpr std::uint32_t activeFlag = 1u << 29;
   static constexpr std::uint32_t countMask = 0x5fffffff & ~activeFlag;

   std::uint32_t add( std::uint32_t change ) const noexcept {
      if ( VFPtrInterface::threadSafePointers_ ) [[unlikely]] {
         return std::atomic_ref( word_ ).fetch_add( change ) + change;
      }
      return word_ += change;
   }
   void flagIs( std::uint32_t flag, bool set ) { word_ = set ? word_ | flag : word_ & ~flag; }

   mutable std::uint32_t word_ = 0;
};

/** The intrusive counting pointer. `Ptr< T const >` is the read-only view. */
template < class T >
class Ptr {
 public:
   constexpr Ptr() = default;
   constexpr Ptr( std::nullptr_t ) {}
   Ptr( T * object ) noexcept : object_( object ) { hold(); }
   Ptr( Ptr const & other ) noexcept : object_( other.object_ ) { hold(); }
   Ptr( Ptr && other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
   template < class U >
   requires std::is_convertible_v< U *, T * > Ptr( Ptr< U > const & other )
   noexcept : object_( other.ptr() ) { hold(); }
   ~Ptr() {
      if ( object_ ) {
         object_->deleteRef();
      }
   }
   Ptr & operator=( Ptr other ) noexcept {
      std::swap( object_, other.object_ );
      return *this;
   }

   T * ptr() const { return object_; }
   T * operator->() const { return object_; }
   T & operator*() const { return *object_; }
   explicit operator bool() const { return object_ != nullptr; }
   friend bool operator==( Ptr const & a, Ptr const & b ) { return a.object_ == b.object_; }
   friend bool operator==( Ptr const & a, std::nullptr_t ) { return a.object_ == nullptr; }

 private:
   void hold() const noexcept {
      if ( object_ ) {
         object_->newRef();
      }
   }

   T * object_ = nullptr;
};

/** The checked cast: null when the object is no `T`. */
template < class T, class U >
Ptr< T > ptrCast( Ptr< U > const & from ) {
   return Ptr< T >( dynamic_cast< T * >( from.ptr() ) );
}

}  // namespace Kel
