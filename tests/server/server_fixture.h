#pragma once
// Base of the end-to-end tests: one nqserver per test on its own loopback address, with the
// demo accounts, and its log printed when the test fails.

#include <gtest/gtest.h>

#include <iostream>
#include <memory>

#include "scripted_client.h"
#include "server_process.h"

namespace nq::test {

class ServerTest : public ::testing::Test {
  protected:
    ServerProcess& launch(const std::string& address, std::vector<std::string> extraArgs = {}) {
        address_ = address;
        server_ = std::make_unique<ServerProcess>(address, std::move(extraArgs));
        server_->demo();
        server_->start();
        return *server_;
    }
    std::unique_ptr<ScriptedClient> client() { return std::make_unique<ScriptedClient>(address_); }

    void TearDown() override {
        if (HasFailure() && server_) std::cerr << "---- nqserver log ----\n" << server_->log() << "----\n";
    }

    std::string address_;
    std::unique_ptr<ServerProcess> server_;
};

}  // namespace nq::test
