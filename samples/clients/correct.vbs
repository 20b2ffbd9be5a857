' Designs a correction from a script.
'
'     cscript //nologo correct.vbs RESPONSE FOLDER
'
' FOLDER gets the documents acme.lvs and desk.lvp.
Option Explicit

Const LX_SHARE_READ = 1
Const LX_VT = 12            ' arrays of variants: the only ones whose elements a script can reach
Const LX_OM_MINERROR = 1
Const LX_LIMITFREQ = 0, LX_LIMITALPHA = 1, LX_LIMITMAX = 2, LX_LIMITMIN = 3, LX_LIMITTYPE = 4

Const SampleRate = 48000
Const FullScale = 32768
Const Taps = 12
Const Completed = 7         ' cscript itself leaves with 0, also after a script error

Dim files, folder, response, library, modelConfig, project
If WScript.Arguments.Count <> 2 Then
    WScript.Echo "cscript //nologo correct.vbs RESPONSE FOLDER"
    WScript.Quit 2
End If
Set files = CreateObject("Scripting.FileSystemObject")
folder = WScript.Arguments(1)
response = ReadResponse(WScript.Arguments(0))
Set library = CreateObject("Lumvex-Dev.Specifications")
Set modelConfig = MakeLibrary(library)
Set project = CreateObject("Lumvex-Dev.Project")
Set project.Specifications = library
MakeProject project, modelConfig, response
project.CloseFile
List
WScript.Quit Completed

' The samples of a text file, one a line, full scale being 1; a line that begins with # is a comment.
Function ReadResponse(path)
    Dim file, line, values, count
    count = 0
    ReDim values(0)
    Set file = files.OpenTextFile(path)
    Do Until file.AtEndOfStream
        line = file.ReadLine
        If Left(line, 1) <> "#" Then
            ReDim Preserve values(count)
            values(count) = CLng(line) / FullScale
            count = count + 1
        End If
    Loop
    file.Close
    ReadResponse = values
End Function

Function PeakOf(response)
    Dim n
    PeakOf = 0
    For n = 1 To UBound(response)
        If Abs(response(n)) > Abs(response(PeakOf)) Then PeakOf = n
    Next
End Function

' The filter that, after the response from start on, leaves one impulse and then silence for its own length.
Function InverseOf(response, start)
    Dim inverse, n, k, rest
    ReDim inverse(Taps - 1)
    For n = 0 To Taps - 1
        rest = 0
        If n = 0 Then rest = 1
        For k = 1 To n
            rest = rest - response(start + k) * inverse(n - k)
        Next
        inverse(n) = rest / response(start)
    Next
    InverseOf = inverse
End Function

' The items' Locks say how many links point at them; whoever makes a link counts it.
Sub Link(links, target)
    links.Add target
    target.Locks = target.Locks + 1
End Sub

Function MakeLibrary(library)
    Dim config, model, modelConfig
    Set config = library.Configs.FindName("Single amp")
    Set model = library.Manufacturers.Add("Acme").Models.Add("Alpha")
    Set modelConfig = model.ModelConfigs.Add(config)
    library.SaveFileAs files.BuildPath(folder, "acme.lvs")
    WScript.Echo "library: " & modelConfig.ManufacturerName & "/" & modelConfig.ModelName & ", " & modelConfig.Name & _
        ", outputs " & modelConfig.Config.OutputCount
    Set MakeLibrary = modelConfig
End Function

Sub MakeProject(project, modelConfig, response)
    Dim experiment, speaker, speakerConfig, measurement, designs, design, limits(4), start, correction, group
    Set experiment = project.Experiments.Add("At the desk")
    experiment.MicDistance = 1
    Set experiment.ModelConfig = modelConfig

    Set speaker = project.SpeakerEQs.Add("Left", modelConfig.Model)
    Set speakerConfig = speaker.SpkrEQConfigs.Add(modelConfig)
    Set measurement = speakerConfig.Measurements.Add("Sweep", experiment)
    measurement.SampleRate = SampleRate
    measurement.Data = response

    Set designs = project.CrossoverConfigs.FindName("Single amp").SpkrEQDesigns
    Set design = designs.Add("Desk")
    design.OptMethod = LX_OM_MINERROR
    limits(LX_LIMITFREQ) = 20.0     ' without a point they would be integers of 16 bits, which arrays do not take
    limits(LX_LIMITALPHA) = 0.0
    limits(LX_LIMITMAX) = 6.0
    limits(LX_LIMITMIN) = -12.0
    limits(LX_LIMITTYPE) = 0.0
    design.LimitData = limits
    Link design.SpkrMeasureLinks, measurement

    start = PeakOf(response)
    Set correction = speakerConfig.Corrections.Add("Inverse", measurement)
    correction.SampleRate = SampleRate
    correction.ActDelay = 1000 * start / SampleRate
    correction.OptMethod = design.OptMethod
    correction.LimitData = design.LimitData
    correction.Data = InverseOf(response, start)
    Set group = design.SpkrCorrectionGroups.Add("First try")
    Link group.SpkrCorrectionLinks, correction

    On Error Resume Next
    designs.Add "DESK"
    If Err.Number <> 0 Then WScript.Echo "refused: " & Err.Description
    On Error Goto 0
    project.SaveFileAs files.BuildPath(folder, "desk.lvp")
End Sub

Sub PrintValues(title, values, unit)
    Dim line, value
    line = title
    For Each value In values
        line = line & " " & CLng(value / unit)
    Next
    WScript.Echo line
End Sub

Sub ListSpeaker(speaker)
    Dim config, measurement, correction, response, inverse, start, corrected, n, k
    For Each config In speaker.SpkrEQConfigs
        WScript.Echo "speaker: " & speaker.DisplayName & ", " & config.Config.Name
        For Each measurement In config.Measurements
            response = measurement.Data
            WScript.Echo "  measurement: " & measurement.Name & ", " & measurement.Experiment.DisplayName & ", " & _
                UBound(response) + 1 & " values at " & measurement.SampleRate & " Hz, links " & measurement.Locks
        Next
        For Each correction In config.Corrections
            response = correction.Measurement.Data
            inverse = correction.Data
            WScript.Echo "  correction: " & correction.Name & " of " & correction.Measurement.Name & ", " & _
                CLng(1000 * correction.ActDelay) & " us, links " & correction.Locks
            PrintValues "    filter in 1/8192:", inverse, 1 / 8192
            start = PeakOf(response)
            ReDim corrected(UBound(inverse))
            For n = 0 To UBound(inverse)
                corrected(n) = 0
                For k = 0 To n
                    corrected(n) = corrected(n) + response(start + k) * inverse(n - k)
                Next
            Next
            PrintValues "    corrected response:", corrected, 1
        Next
    Next
End Sub

Sub ListDesign(design)
    Dim link, group
    WScript.Echo "template: " & design.Name & " for " & design.Parent.Parent.Config.Name & ", method " & _
        design.OptMethod
    PrintValues "  limits:", design.LimitData, 1
    For Each link In design.SpkrMeasureLinks
        WScript.Echo "  draws on: " & link.Measurement.Name
    Next
    For Each group In design.SpkrCorrectionGroups
        For Each link In group.SpkrCorrectionLinks
            WScript.Echo "  " & group.Name & ": " & link.Correction.Name
        Next
    Next
End Sub

Sub List
    Dim project, speaker, crossover, design
    Set project = CreateObject("Lumvex-Dev.Project")
    project.AccessMode = LX_SHARE_READ
    project.SafeArrayType = LX_VT
    project.OpenFile files.BuildPath(folder, "desk.lvp")
    For Each speaker In project.SpeakerEQs
        ListSpeaker speaker
    Next
    For Each crossover In project.CrossoverConfigs
        For Each design In crossover.SpkrEQDesigns
            ListDesign design
        Next
    Next
    project.CloseFile
End Sub
