#include "Web.h"

#include "Follow.h"
#include "web/Site.h"

#include <csignal>
#include <cstdio>

int showPage(const std::string& host, uint16_t port, const std::string& listen, const std::string& folder)
{
    const std::string name = host + ':' + std::to_string(port);
    web::Site site;
    const std::string wrong = site.listen(listen);
    if (!wrong.empty()) {
        fprintf(stderr, "tavctl: %s\n", wrong.c_str());
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    web::Hub hub({{"title", "Object server " + name}, {"readOnly", true}});
    if (!folder.empty())
        hub.setRules(web::pairFileOf(folder));
    site.serve(hub, nullptr);
    printf("Open %s\n", site.link().c_str());

    Follower follower;
    follower.listed = [&](const std::vector<sim::Port>& ports) {
        hub.setPorts(ports);
        hub.set("server", {{"running", true}});
        hub.tell(web::Happening::Note, name + " is connected");
    };
    follower.changed = [&](const sim::Port& changed) { hub.tell(changed); };
    follower.lost = [&](const std::string& why) {
        hub.set("server", {{"running", false}});
        hub.tell(web::Happening::Fault, name + ": " + why);
    };
    follow(host, port, follower);
}
