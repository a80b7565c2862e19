#include "XcpOnEthernet.h"

namespace xcptrace {

void fillEthernetMessage(XCP_Message& message, uint64_t timeNs, XCP_Message::msgDirection_t direction,
                         const uint8_t* frame, const EthernetEndpoints& endpoints)
{
    uint16_t len = xcpLen(frame);
    message.setTimeStamp(timeNs);
    message.setTransportType(XCP_Message::TT_ETHERNET);
    message.setMsgDirection(direction);
    message.setEcuId(0);
    message.header.setTransportType(XCP_Message::TT_ETHERNET);
    message.header.setLEN(len);
    message.header.setCTR(xcpCtr(frame));
    XCP_Message::Packet& packet = message.packet;
    packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    packet.identificationField.pid = frame[XCP_ETH_HEADER_SIZE];
    packet.identificationField.firstPid = 0;
    packet.identificationField.setDaqNo(0);
    packet.timestampField.setType(XCP_Message::TST_NO);
    packet.dataField.data.assign(frame + XCP_ETH_HEADER_SIZE + 1, frame + XCP_ETH_HEADER_SIZE + len);
    message.tail.setTransportType(XCP_Message::TT_ETHERNET);
    message.setCanTransportTypeSettings(0, CT_STANDARD, 0);
    message.setEthernetTransportTypeSettings(*endpoints.destination, *endpoints.source, std::string(),
                                             endpoints.slavePort, endpoints.tcp);
}

}  // namespace xcptrace
