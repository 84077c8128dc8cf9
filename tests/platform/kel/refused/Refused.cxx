/* Mistakes in the declaration of a machine that must not compile, one for each value of MISTAKE; with
 * none, all does. */

#include "platform/kel/Entity.h"
#include "platform/kel/StateMachine.h"

class Board : public Kel::NamedEntity {
   KEL_ENTITY( Board )
   KEL_MAP( Kel::String, int, item )
};

class WatchSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( WatchSm )
   KEL_REACTOR( KelBoard, Board const, board, KEL_ON( item, handleItem ) )
   void handleItem() {}
#if MISTAKE == 1
   void handleItem( int * ) {}
#else
   void handleItem( Kel::String const & ) {}
#endif
   KEL_OWN( int, first )
#if MISTAKE == 2
   class Inner : public Kel::NamedEntity {
      KEL_ENTITY( WatchSm::Inner )
      KEL_SCALAR( int, size )
   };
#endif
   KEL_OWN( int, second )
};

class OwnerSm;
class NestedSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( NestedSm )
#if MISTAKE == 3
   KEL_OWNER( OwnerSm, owner )
   KEL_REACTOR( KelBoard, Board const, board, KEL_ON( item, handleItem ) )
#else
   KEL_REACTOR( KelBoard, Board const, board, KEL_ON( item, handleItem ) )
   KEL_OWNER( OwnerSm, owner )
#endif
   void handleItem( Kel::String const & ) {}
   static Kel::String keyOf( Kel::Ptr< Board const > const & board ) { return board->name(); }
};

class OwnerSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( OwnerSm )
   KEL_NESTED( Kel::String, NestedSm, nested )
   void adopt( Kel::Ptr< Board const > const & board ) { nestedIs( board ); }
};
