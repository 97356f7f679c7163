#pragma once
// Base of the end-to-end tests: one nqserver per test with the demo accounts, on a loopback
// address the test claims for itself, and its log printed when the test fails.

#include <gtest/gtest.h>

#include <iostream>
#include <memory>

#include "scripted_client.h"
#include "server_process.h"
#include "support/loopback.h"

namespace nq::test {

class ServerTest : public ::testing::Test {
  protected:
    ServerProcess& launch(std::vector<std::string> extraArgs = {}) {
        server_ = std::make_unique<ServerProcess>(address_, std::move(extraArgs));
        server_->demo();
        server_->start();
        return *server_;
    }
    std::unique_ptr<ScriptedClient> client() { return std::make_unique<ScriptedClient>(address_); }

    void TearDown() override {
        if (HasFailure() && server_) std::cerr << "---- nqserver log ----\n" << server_->log() << "----\n";
    }

    const std::string address_ = claimLoopbackAddress();
    std::unique_ptr<ServerProcess> server_;
};

}  // namespace nq::test
