#pragma once
// The main window's button looks, as settings of the kit's button, so that every panel draws
// the same three kinds the same way.

namespace nq {
class lvButtons_H;
}

namespace nq::app {

// The one action of a panel: a blue gradient face with a bold white caption, marked as default.
void lookPrimary(lvButtons_H& button);
// Any other button: a white face going pale blue downwards, grey border, blue caption under the
// cursor. As an Option button, the chosen one keeps the pale blue hover face.
void lookSecondary(lvButtons_H& button);
// A page tab: caption only; the chosen tab keeps a pale blue face. Its caption colour is the
// page logic's, so the cursor leaves it alone.
void lookTab(lvButtons_H& button);

}  // namespace nq::app
