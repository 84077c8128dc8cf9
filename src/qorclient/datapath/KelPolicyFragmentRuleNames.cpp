// Rule names: a flow's fragment and name, and where the rule stands.

#include <array>
#include <string>
#include <string_view>

#include "qorclient/datapath/KelPolicyFragment.h"

namespace QorClient::DatapathV1 {

namespace {

std::string_view shortNameOrAny( Wirekit::IntfId intf ) {
   return intf ? intf.shortNameView() : std::string_view( "any" );
}

/** What the name has behind the flow's: of all flows the same, and asked for over and over. It
 * stays until the next call. */
std::string_view placeOf( QorClient::RuleKey const & ruleKey ) {
   struct Known {
      QorClient::RuleKey ruleKey;
      std::string text;
   };
   // Never destroyed: the C library ends a process that has no memory to note a thread's object.
   thread_local auto & recent = *new std::array< Known, 64 >;
   std::size_t const hash = ruleKey.inIntf.hash() + 3 * ruleKey.outIntf.hash();
   Known & known = recent[( hash + ruleKey.matchVlanTag ) % recent.size()];
   if ( known.text.empty() || !( known.ruleKey == ruleKey ) ) {
      known.ruleKey = ruleKey;
      known.text = "-from-";
      known.text.append( shortNameOrAny( ruleKey.inIntf ) ).append( "-to-" );
      known.text.append( shortNameOrAny( ruleKey.outIntf ) );
      known.text.append( ruleKey.matchVlanTag ? "" : "-untagged" );
   }
   return known.text;
}

}  // namespace

Kel::String KelPolicyFragment::getFlowRuleName( Kel::String const & flowName,
                                                QorClient::RuleKey const & ruleKey ) const {
   return getFlowRuleName( *flowInfo( flowName ), ruleKey );
}

Kel::String KelPolicyFragment::getFlowRuleName( QorClient::FlowInfo const & info,
                                                QorClient::RuleKey const & ruleKey ) {
   return ruleNameOf( info, ruleKey, nullptr );
}

Kel::String KelPolicyFragment::ruleNameOf( QorClient::FlowInfo const & info,
                                           QorClient::RuleKey const & ruleKey,
                                           Kel::Ptr< QorClient::RuleInfo > const & standing ) {
   // The same key always gives the same name, which makes a second publication recognisable.
   Kel::String const prefix = info.rulePrefix();
   std::string_view const place = placeOf( ruleKey );
   if ( standing ) {
      Kel::String name = standing->ruleName();
      if ( name.size() == prefix.size() + place.size() && name.view().starts_with( prefix ) &&
           name.view().ends_with( place ) ) {
         return name;
      }
   }
   return Kel::String::concat( { prefix, place } );
}

}  // namespace QorClient::DatapathV1
