#include "MFnd/Time_XML.h"

namespace
{

Cmn_AliasedRefCountPtr<Cmn_XMLNode> CreateNode(std::string_view iName, Time_Packed iTime)
{
    auto nodeP = Cmn_CreateXMLNode(iName);
    nodeP->AddChild(Cmn_CreateXMLNode("nKind", static_cast<std::int8_t>(iTime.GetType())));
    nodeP->AddChild(Cmn_CreateXMLNode("nCount", iTime.GetCount()));
    return nodeP;
}

} // namespace

Cmn_AliasedRefCountPtr<Cmn_XMLNode> Time_CreateXMLNode(std::string_view iName, Time_Typed iTime)
{
    return CreateNode(iName, iTime.GetPacked());
}

Cmn_AliasedRefCountPtr<Cmn_XMLNode> Time_CreateXMLNode(std::string_view iName, Time_TypedLength iLength)
{
    return CreateNode(iName, iLength.GetPacked());
}
