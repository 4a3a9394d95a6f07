// The service endpoints that the library calls, answered from the catalog
// and the simulator state.
#pragma once

#include "catalog.h"
#include "clips.h"
#include "playback.h"
#include "profile.h"
#include "reply.h"
#include "sim_state.h"

#include <httplib.h>

#include <string>
#include <vector>

namespace tqlsim {

class Service {
public:
    Service(const Catalog& catalog, const AudioLoop& audio, SimState& state, const std::string& baseUrl);

    // Answers one request of the service's paths; unknown paths give 404.
    Reply handle(const httplib::Request& req);

private:
    Reply routing(const httplib::Request& req);
    Reply configuration(const httplib::Request& req);
    Reply login(const httplib::Request& req);
    Reply resume(const httplib::Request& req);
    Reply noop(const httplib::Request& req);
    Reply channelListing(const httplib::Request& req);
    Reply carousel(const httplib::Request& req);
    Reply collation(const httplib::Request& req);
    Reply profileModify(const httplib::Request& req);
    Reply settingsModify(const httplib::Request& req);
    std::vector<std::string> favoriteGuids(const std::string& user);
    Reply recommender(const httplib::Request& req);
    Reply onDemand(const httplib::Request& req);
    Reply geolocation(const httplib::Request& req);
    Reply programData(const httplib::Request& req);
    Reply episodes(const httplib::Request& req);
    Reply image(const httplib::Request& req);
    Reply tuneLive(const httplib::Request& req);
    Reply tuneOnDemand(const httplib::Request& req);
    Reply tuneClips(const httplib::Request& req);
    Reply refreshTracks(const httplib::Request& req);
    Reply consume(const httplib::Request& req);

    // Gives an error reply when the request's session is not valid; the
    // session's user goes to `user` when given.
    bool sessionRejected(const httplib::Request& req, Reply& reply, std::string* user = nullptr);
    std::string lineup();

    const Catalog& catalog_;
    SimState& state_;
    std::string base_;
    Playback playback_;
    Profiles profiles_{catalog_};
    ClipChannels clips_;
};

}  // namespace tqlsim
