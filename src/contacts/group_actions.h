#pragma once
// Groups beyond their rosters: asking to create one and the answers, dissolving, joining with
// the creator's consent, leaving, and the group card with its cache in UserInfo.dat. The
// leaves change the tree through the contact model and save it to NQUser.nq; what needs a
// window (the create form, a card, a box about coins) leaves as a signal for the main window.
//
// The join request that reaches a creator goes to the message queue of the conversation
// module, which owns that queue; this class only sends the answers.

#include <QObject>
#include <string>

#include "wire/gbk.h"

namespace nq {

class Contacts;
class Session;

// The cached card of a group, as UserInfo.dat holds it.
struct GroupCard {
    Bytes name;
    Bytes creator;  // "Bilder" of NQUser.nq
    Bytes info;     // "VInfo"
};

class GroupActions : public QObject {
    Q_OBJECT
  public:
    // Coins needed to create a group come in thousands.
    static constexpr int kCoinsPerUnit = 1000;
    static constexpr int kToastMs = 3000;

    GroupActions(Session& session, Contacts& contacts, QObject* parent = nullptr);

    // ---- what the user asks for ----
    // 创建山庄: may I create a group? The create button waits for the answer.
    void askCreate();
    // frmVlg's comSubmit: false (and a box) when the name is empty.
    bool create(const Bytes& name, const Bytes& info);
    // 退出山庄 on a group node, with no question.
    void leave(const Bytes& group);
    // The wizard's verification panel: ask the creator to let us in.
    void askToJoin(const Bytes& creator, const Bytes& group, const Bytes& text);
    // The consent window's three answers.
    void agree(const Bytes& requester, const Bytes& group);
    void refuse(const Bytes& requester, const Bytes& group, const Bytes& reason);
    void closedWithoutAnswer(const Bytes& requester, const Bytes& reason);
    // 查看山庄资料, the chat window's name label: the card from the cache, or asked for.
    void showCard(const Bytes& group);
    [[nodiscard]] GroupCard cachedCard(const Bytes& group) const;

  signals:
    // The toolbar's create button on or off while the question is out.
    void createButtonEnabled(bool enabled);
    // The server lets the user create a group: the empty form, creator = own name.
    void createFormDue();
    // A card is known: from the cache at once, or just written from a reply.
    void cardDue(const nq::Bytes& group, bool fromReply);

  private:
    void registerLeaves();
    void onMayCreate();
    void onCreated();
    void onDissolved();
    void onJoined();
    void onLeft();
    void onJoinAnswer();
    void onCard();
    void toast(const std::string& utf8Text);
    [[nodiscard]] std::string infoFile() const;

    Session& session_;
    Contacts& contacts_;
};

}  // namespace nq
