// Rule names: a flow's fragment and name, and where the rule stands.

#include <initializer_list>
#include <string_view>

#include "qorclient/datapath/KelPolicyFragment.h"

namespace QorClient::DatapathV1 {

namespace {

std::string_view shortNameOrAny( Wirekit::IntfId intf ) {
   return intf ? intf.shortNameView() : std::string_view( "any" );
}

bool isJoined( std::string_view text, std::initializer_list< std::string_view > parts ) {
   for ( std::string_view part : parts ) {
      if ( !text.starts_with( part ) ) {
         return false;
      }
      text.remove_prefix( part.size() );
   }
   return text.empty();
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
   std::initializer_list< std::string_view > const parts = {
      prefix,
      "-from-",
      shortNameOrAny( ruleKey.inIntf ),
      "-to-",
      shortNameOrAny( ruleKey.outIntf ),
      ruleKey.matchVlanTag ? "" : "-untagged" };
   if ( standing ) {
      if ( Kel::String name = standing->ruleName(); isJoined( name, parts ) ) {
         return name;
      }
   }
   return Kel::String::concat( parts );
}

}  // namespace QorClient::DatapathV1
