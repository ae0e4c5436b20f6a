#pragma once
// Why the outputs of a switch may hold something else than all that stands asked for now would
// give if it were asked for at once. Each is met by the walk in rebuilt_outputs_test.cc.

namespace Fabrion::Test::ProvisioningRules {

inline constexpr const char* listsUpTo4094 =
    "of the lists of an earlier run only VLANs 1 to 4094 are looked at";
inline constexpr const char* nativesOfTheModel =
    "a native VLAN of an earlier run goes only by a change of the port's native VLANs";
inline constexpr const char* membersAreSilent =
    "what a port had in the outputs stays if it joins its group while no machine follows it";
inline constexpr const char* vtepsOnlyAdd =
    "a pair of an earlier run leaves a VTEP configuration only with its VLAN or port";
inline constexpr const char* statusGone = "the configuration of a VTEP without status stays";
inline constexpr const char* firstVtepOnly =
    "removals and single changes reach the first VTEP configuration alone";
inline constexpr const char* partedPortsWait =
    "the VNIs of a port that left its group wait for a VTEP status or a change";
inline constexpr const char* rangesLeaveTheirVni =
    "a range that goes or changes leaves its VNI while the domain is on the VLAN";
inline constexpr const char* domainsShareAName =
    "VNIs of a client and of the static maps of its domains are kept by one name, and who takes "
    "it off takes it off for all";
inline constexpr const char* mapsWhileStopped =
    "static VNIs of the past stay while no machine follows the switch, and after that";
inline constexpr const char* portDomainsStay =
    "a domain asked for on a port stays until it is withdrawn itself or the VLAN goes";
inline constexpr const char* portDomainsAreShared =
    "clients that share a domain on a port share its one referrer";
inline constexpr const char* groupsKeep =
    "a member that parts leaves the group the VNIs and domains that the member itself keeps";

inline constexpr const char* topologyLeaves =
    "as the topology's machine stops it leaves native VLANs of ports that clients hold, and VTEP "
    "configurations";

inline constexpr const char* everyRule[] = {
    listsUpTo4094,   nativesOfTheModel,    membersAreSilent,    vtepsOnlyAdd,      statusGone,
    firstVtepOnly,   partedPortsWait,      rangesLeaveTheirVni, domainsShareAName, mapsWhileStopped,
    portDomainsStay, portDomainsAreShared, groupsKeep,          topologyLeaves};

}  // namespace Fabrion::Test::ProvisioningRules
