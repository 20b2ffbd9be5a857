// Designs a correction from a script.
//
//     cscript //nologo correct.js RESPONSE FOLDER
//
// FOLDER gets the documents acme.lvs and desk.lvp.
var LX_SHARE_READ = 1;
var LX_VT = 12;  // arrays of variants: the only ones whose elements a script can reach
var LX_OM_MINERROR = 1;
var LX_LIMITFREQ = 0, LX_LIMITALPHA = 1, LX_LIMITMAX = 2, LX_LIMITMIN = 3, LX_LIMITTYPE = 4;

var SAMPLE_RATE = 48000;
var FULL_SCALE = 32768;
var TAPS = 12;
var COMPLETED = 7;  // cscript itself leaves with 0, also after a script error

var files = new ActiveXObject("Scripting.FileSystemObject");
var folder;

// The samples of a text file, one a line, full scale being 1; a line that begins with # is a comment.
function readResponse(path) {
    var values = [];
    var file = files.OpenTextFile(path);
    while (!file.AtEndOfStream) {
        var line = file.ReadLine();
        if (line.charAt(0) != "#") values.push(parseInt(line, 10) / FULL_SCALE);
    }
    file.Close();
    return values;
}

function peakOf(response) {
    var peak = 0;
    for (var n = 1; n < response.length; ++n)
        if (Math.abs(response[n]) > Math.abs(response[peak])) peak = n;
    return peak;
}

// The filter that, after the response from start on, leaves one impulse and then silence for its own length.
function inverseOf(response, start) {
    var filter = [];
    for (var n = 0; n < TAPS; ++n) {
        var rest = n == 0 ? 1 : 0;
        for (var k = 1; k <= n; ++k) rest -= response[start + k] * filter[n - k];
        filter[n] = rest / response[start];
    }
    return filter;
}

// The script's own arrays are objects. What an object takes for an array is made by a dictionary, of one dimension.
function oneColumn(values) {
    var dictionary = new ActiveXObject("Scripting.Dictionary");
    for (var n = 0; n < values.length; ++n) dictionary.Add(n, values[n]);
    return dictionary.Items();
}

function valuesOf(data) {
    return new VBArray(data).toArray();
}

function forEach(collection, visit) {
    for (var each = new Enumerator(collection); !each.atEnd(); each.moveNext()) visit(each.item());
}

// The items' Locks say how many links point at them; whoever makes a link counts it.
function link(links, target) {
    links.Add(target);
    target.Locks = target.Locks + 1;
}

function makeLibrary(library) {
    var config = library.Configs.FindName("Single amp");
    var model = library.Manufacturers.Add("Acme").Models.Add("Alpha");
    var modelConfig = model.ModelConfigs.Add(config);
    library.SaveFileAs(files.BuildPath(folder, "acme.lvs"));
    WScript.Echo("library: " + modelConfig.ManufacturerName + "/" + modelConfig.ModelName + ", " + modelConfig.Name +
        ", outputs " + modelConfig.Config.OutputCount);
    return modelConfig;
}

function makeProject(project, modelConfig, response) {
    var experiment = project.Experiments.Add("At the desk");
    experiment.MicDistance = 1;
    experiment.ModelConfig = modelConfig;

    var speaker = project.SpeakerEQs.Add("Left", modelConfig.Model);
    var speakerConfig = speaker.SpkrEQConfigs.Add(modelConfig);
    var measurement = speakerConfig.Measurements.Add("Sweep", experiment);
    measurement.SampleRate = SAMPLE_RATE;
    measurement.Data = oneColumn(response);

    var designs = project.CrossoverConfigs.FindName("Single amp").SpkrEQDesigns;
    var design = designs.Add("Desk");
    design.OptMethod = LX_OM_MINERROR;
    var limits = [];
    limits[LX_LIMITFREQ] = 20;
    limits[LX_LIMITALPHA] = 0;
    limits[LX_LIMITMAX] = 6;
    limits[LX_LIMITMIN] = -12;
    limits[LX_LIMITTYPE] = 0;
    design.LimitData = oneColumn(limits);
    link(design.SpkrMeasureLinks, measurement);

    var start = peakOf(response);
    var correction = speakerConfig.Corrections.Add("Inverse", measurement);
    correction.SampleRate = SAMPLE_RATE;
    correction.ActDelay = 1000 * start / SAMPLE_RATE;
    correction.OptMethod = design.OptMethod;
    correction.LimitData = design.LimitData;
    correction.Data = oneColumn(inverseOf(response, start));
    link(design.SpkrCorrectionGroups.Add("First try").SpkrCorrectionLinks, correction);

    try {
        designs.Add("DESK");
    } catch (error) {
        WScript.Echo("refused: " + error.message);
    }
    project.SaveFileAs(files.BuildPath(folder, "desk.lvp"));
}

function printValues(title, values, unit) {
    var line = title;
    for (var n = 0; n < values.length; ++n) line += " " + Math.round(values[n] / unit);
    WScript.Echo(line);
}

function listSpeaker(speaker) {
    forEach(speaker.SpkrEQConfigs, function (config) {
        WScript.Echo("speaker: " + speaker.DisplayName + ", " + config.Config.Name);
        forEach(config.Measurements, function (measurement) {
            WScript.Echo("  measurement: " + measurement.Name + ", " + measurement.Experiment.DisplayName + ", " +
                valuesOf(measurement.Data).length + " values at " + measurement.SampleRate + " Hz, links " +
                measurement.Locks);
        });
        forEach(config.Corrections, function (correction) {
            var response = valuesOf(correction.Measurement.Data);
            var filter = valuesOf(correction.Data);
            WScript.Echo("  correction: " + correction.Name + " of " + correction.Measurement.Name + ", " +
                Math.round(1000 * correction.ActDelay) + " us, links " + correction.Locks);
            printValues("    filter in 1/8192:", filter, 1 / 8192);
            var start = peakOf(response);
            var corrected = [];
            for (var n = 0; n < filter.length; ++n) {
                corrected[n] = 0;
                for (var k = 0; k <= n; ++k) corrected[n] += response[start + k] * filter[n - k];
            }
            printValues("    corrected response:", corrected, 1);
        });
    });
}

function listDesign(design) {
    WScript.Echo("template: " + design.Name + " for " + design.Parent.Parent.Config.Name + ", method " +
        design.OptMethod);
    printValues("  limits:", valuesOf(design.LimitData), 1);
    forEach(design.SpkrMeasureLinks, function (link) {
        WScript.Echo("  draws on: " + link.Measurement.Name);
    });
    forEach(design.SpkrCorrectionGroups, function (group) {
        forEach(group.SpkrCorrectionLinks, function (link) {
            WScript.Echo("  " + group.Name + ": " + link.Correction.Name);
        });
    });
}

function list() {
    var project = new ActiveXObject("Lumvex-Dev.Project");
    project.AccessMode = LX_SHARE_READ;
    project.SafeArrayType = LX_VT;
    project.OpenFile(files.BuildPath(folder, "desk.lvp"));
    forEach(project.SpeakerEQs, listSpeaker);
    forEach(project.CrossoverConfigs, function (crossover) {
        forEach(crossover.SpkrEQDesigns, listDesign);
    });
    project.CloseFile();
}

if (WScript.Arguments.length != 2) {
    WScript.Echo("cscript //nologo correct.js RESPONSE FOLDER");
    WScript.Quit(2);
}
folder = WScript.Arguments(1);
var response = readResponse(WScript.Arguments(0));
var library = new ActiveXObject("Lumvex-Dev.Specifications");
var modelConfig = makeLibrary(library);
var project = new ActiveXObject("Lumvex-Dev.Project");
project.Specifications = library;
makeProject(project, modelConfig, response);
project.CloseFile();
list();
WScript.Quit(COMPLETED);
