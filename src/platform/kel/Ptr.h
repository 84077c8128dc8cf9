#pragma once

#include <atomic>
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
      if ( ( add( ~std::uint32_t{ 0 } ) & countMask ) == 0 ) [[unlikely]] {
         lastReferenceGone();
      }
   }
   /** The number of references now held. */
   std::uint32_t references() const { return word_ & countMask; }
   /** True while a dispatch on the stack works for the object; see InUse. */
   bool isInUse() const { return inUse_; }

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
   static constexpr std::uint32_t countMask = 0x5fffffff;

   friend class InUse;
   void lastReferenceGone() const noexcept;

   std::uint32_t add( std::uint32_t change ) const noexcept {
      if ( VFPtrInterface::threadSafePointers_ ) [[unlikely]] {
         std::uint32_t const now = std::atomic_ref( word_ ).fetch_add( change ) + change;
         // Told so, the compiler merges the plain add and subtract around a read through a pointer.
         if ( !VFPtrInterface::threadSafePointers_ ) {
            __builtin_unreachable();
         }
         return now;
      }
      return word_ += change;
   }
   /** The count in the same word must not be lost to a thread that changes it meanwhile. */
   void flagIs( std::uint32_t flag, bool set ) {
      if ( VFPtrInterface::threadSafePointers_ ) [[unlikely]] {
         std::atomic_ref const word( word_ );
         set ? word.fetch_or( flag ) : word.fetch_and( ~flag );
      } else {
         word_ = set ? word_ | flag : word_ & ~flag;
      }
   }

   mutable std::uint32_t word_ = 0;
   mutable bool inUse_ = false;
};

/**
 * Keeps an object while a dispatch on the stack works for it: if its last reference goes
 * meanwhile, it is destroyed at the end. The outermost use of an object alone marks it, which
 * costs a notification less than counting would. As all delivery, it belongs to one thread.
 */
class InUse {
 public:
   /** Runs `f` and keeps the object meanwhile. */
   template < class F >
   static void during( PtrInterface const & object, F && f ) {
      if ( object.inUse_ ) [[unlikely]] {
         f();
      } else {
         InUse const mark( object );
         f();
      }
   }

 private:
   [[gnu::always_inline]] explicit InUse( PtrInterface const & object ) noexcept
      : object_( object ) {
      object.inUse_ = true;
   }
   [[gnu::always_inline]] ~InUse() {
      object_.inUse_ = false;
      if ( object_.references() == 0 ) [[unlikely]] {
         object_.lastReferenceGone();
      }
   }

   PtrInterface const & object_;
};

/** Says on standard error that a null pointer was followed, and where (`place` is the pretty name
 * of what was called), then ends the process as a failed assertion does. */
[[noreturn, gnu::cold]] void nullFollowed( char const * place );

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
   /** To use a null pointer ends the process with a text. */
   T * operator->() const {
      if ( !object_ ) [[unlikely]] {
         nullFollowed( __PRETTY_FUNCTION__ );
      }
      return object_;
   }
   T & operator*() const { return *operator->(); }
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
